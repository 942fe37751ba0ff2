// The one guard around every place where code that is not ours calls in:
// the plug-in's exports, overrides of the host's interfaces (web-view sink,
// HID callback, room-controller sink, web-service callbacks, task bodies),
// the DNS-SD library's callbacks and the sink calls made from them.
//
// A failure that escapes a body (an exception of any type) never reaches
// the caller: the guard reports it once, with the entry's label, and the
// entry returns its interface's neutral value (nothing, null, 0 or false).
//
// Threads: `Guard` may run on any thread. The reporter is read atomically;
// it is called on the thread where the failure happened and must not throw.
#pragma once

#include <exception>
#include <utility>

namespace boundary {

// Receives one report per escaped failure: the entry's label and a text
// describing the failure.
using Reporter = void (*)(const char* where, const char* what);

// Installs the reporter (null: back to the default, which writes one line
// to standard error). Returns the one it replaces.
Reporter SetReporter(Reporter reporter) noexcept;

// Hands one failure to the installed reporter. Never throws.
void Report(const char* where, const char* what) noexcept;

// Runs `body()` and returns its result; when it throws, reports the failure
// and returns `neutral`.
template <typename Result, typename Body>
Result Guard(const char* where, Result neutral, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& e) {
    Report(where, e.what());
  } catch (...) {
    Report(where, "unknown exception");
  }
  return neutral;
}

// Runs `body()`, which returns nothing; when it throws, reports the failure.
template <typename Body>
void Guard(const char* where, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (const std::exception& e) {
    Report(where, e.what());
  } catch (...) {
    Report(where, "unknown exception");
  }
}

}  // namespace boundary
