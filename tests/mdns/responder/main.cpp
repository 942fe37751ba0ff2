// The responder's tests. The process first moves into a network namespace of
// its own, still single-threaded, so that the multicast the responders send
// stays on that namespace's loopback.
#include <gtest/gtest.h>

#include "test_client.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  responder_test::EnterPrivateNetwork();
  return RUN_ALL_TESTS();
}
