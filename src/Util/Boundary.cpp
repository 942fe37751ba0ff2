#include "Util/Boundary.h"

#include <atomic>
#include <cstdio>

namespace boundary {
namespace {

void WriteToStandardError(const char* where, const char* what) {
  std::fprintf(stderr, "atrium: failure escaped %s: %s\n", where ? where : "?", what ? what : "?");
}

std::atomic<Reporter> g_reporter{&WriteToStandardError};

}  // namespace

Reporter SetReporter(Reporter reporter) noexcept {
  return g_reporter.exchange(reporter ? reporter : &WriteToStandardError);
}

void Report(const char* where, const char* what) noexcept {
  try {
    g_reporter.load()(where ? where : "?", what ? what : "?");
  } catch (...) {
    // A reporter that throws loses its report; nothing may cross this line.
  }
}

}  // namespace boundary
