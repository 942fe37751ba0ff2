// The DNS-SD layer's one log function. Every message carries the file label
// ("as/Common/bonjour/<file>"), the function's name and printf-style text,
// which reaches the installed logger as "[bonjour] <text>", cut at 1024
// characters. Without a logger, messages are dropped.
#pragma once

#if defined(__GNUC__)
#define BONJOUR_PRINTF(f, a) __attribute__((format(printf, f, a)))
#else
#define BONJOUR_PRINTF(f, a)
#endif

// The host's logger: file label, function name, message.
typedef void (*bonjour_logger)(const char* file, const char* function, const char* message);

// Installs the logger (null removes it). Any thread may log meanwhile.
void set_bonjour_logger(bonjour_logger logger);

void bonjour_log(const char* file, const char* function, const char* format, ...)
    BONJOUR_PRINTF(3, 4);
