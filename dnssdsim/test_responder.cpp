// A stand-in for our own responder module: dnssd_service_start blocks, as
// the module's run loop does, until dnssd_service_stop is called from any
// thread. Built with TEST_RESPONDER_NO_START it lacks dnssd_service_start, as
// a broken install would.
#include "test_responder.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <type_traits>

#include "bonjour/dnssd_types.h"

namespace {

struct Responder {
  std::mutex mu;
  std::condition_variable changed;
  int startCalls = 0;
  int stopCalls = 0;
  int running = 0;
  unsigned stops = 0;  // bumped by every stop that releases the running starts
  bool stopKept = false;
};

// Never destroyed: a layer thread may still be inside start at exit.
Responder& R() {
  static Responder* responder = new Responder;
  return *responder;
}

void ReleaseRunning(Responder& r) {
  ++r.stops;
  r.changed.notify_all();
}

}  // namespace

extern "C" {

#ifndef TEST_RESPONDER_NO_START
TEST_RESPONDER_API void dnssd_service_start() {
  Responder& r = R();
  std::unique_lock<std::mutex> lock(r.mu);
  ++r.startCalls;
  if (r.stopKept) {
    r.stopKept = false;
    return;
  }
  ++r.running;
  r.changed.notify_all();
  const unsigned seen = r.stops;
  r.changed.wait(lock, [&] { return r.stops != seen; });
  --r.running;
}
#endif

TEST_RESPONDER_API void dnssd_service_stop() {
  Responder& r = R();
  std::lock_guard<std::mutex> lock(r.mu);
  ++r.stopCalls;
  if (r.running > 0)
    ReleaseRunning(r);
  else
    r.stopKept = true;
}

int test_responder_start_calls(void) {
  std::lock_guard<std::mutex> lock(R().mu);
  return R().startCalls;
}

int test_responder_stop_calls(void) {
  std::lock_guard<std::mutex> lock(R().mu);
  return R().stopCalls;
}

int test_responder_running(void) {
  std::lock_guard<std::mutex> lock(R().mu);
  return R().running;
}

int test_responder_wait_running(int timeoutMs) {
  Responder& r = R();
  std::unique_lock<std::mutex> lock(r.mu);
  return r.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs),
                            [&] { return r.running > 0; })
             ? 1
             : 0;
}

void test_responder_reset(void) {
  Responder& r = R();
  std::lock_guard<std::mutex> lock(r.mu);
  r.startCalls = 0;
  r.stopCalls = 0;
  r.stopKept = false;
  if (r.running > 0) ReleaseRunning(r);
}

}  // extern "C"

#ifndef TEST_RESPONDER_NO_START
static_assert(std::is_same<decltype(&dnssd_service_start), dnssd_service_start_fn>::value, "");
#endif
static_assert(std::is_same<decltype(&dnssd_service_stop), dnssd_service_stop_fn>::value, "");
