#include "bonjour_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {
std::atomic<bonjour_logger> g_logger{nullptr};
}

void set_bonjour_logger(bonjour_logger logger) { g_logger = logger; }

void bonjour_log(const char* file, const char* function, const char* format, ...) {
  const bonjour_logger logger = g_logger;
  if (!logger) return;
  char text[1025];
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (n < 0) return;
  char message[1040];
  std::snprintf(message, sizeof message, "[bonjour] %s", text);
  logger(file ? file : "", function ? function : "", message);
}
