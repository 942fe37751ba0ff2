// Control functions of the test responder library (test_responder.cpp),
// which stands in for our own responder module: dnssd_service_start blocks
// until dnssd_service_stop is called from any thread. Tests find these with
// dlsym on the handle that loaded the library.
#pragma once

#define TEST_RESPONDER_API __attribute__((visibility("default")))

extern "C" {

// Calls of dnssd_service_start and dnssd_service_stop since the last reset. A
// stop while no start is blocked is kept: the next start returns at once.
TEST_RESPONDER_API int test_responder_start_calls(void);
TEST_RESPONDER_API int test_responder_stop_calls(void);
// How many dnssd_service_start calls are blocked right now.
TEST_RESPONDER_API int test_responder_running(void);
// 1 once a start is blocked, 0 after timeoutMs milliseconds.
TEST_RESPONDER_API int test_responder_wait_running(int timeoutMs);
// Counters to zero, a kept stop forgotten, blocked starts released.
TEST_RESPONDER_API void test_responder_reset(void);

typedef int (*test_responder_count_fn)(void);
typedef int (*test_responder_wait_running_fn)(int);
typedef void (*test_responder_reset_fn)(void);

}  // extern "C"
