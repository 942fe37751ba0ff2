// The scripted DNS-SD library's control functions, found in the library
// that the layer loaded, and the layer pointed at the "own" test layout.
#pragma once

#include <gtest/gtest.h>

#include "LayerTestSupport.h"
#include "dnssdsim/scripted_dnssd.h"
#include "dnssdsim/test_responder.h"

namespace layertest {

struct Scripted {
  void* library = nullptr;
  void* responder = nullptr;
  scripted_reset_fn reset;
  scripted_fail_count_fn fail_create_connection, fail_register;
  scripted_fail_next_fn fail_next;
  scripted_find_ref_fn find_ref;
  scripted_queue_browse_reply_fn browse_reply;
  scripted_queue_resolve_reply_fn resolve_reply;
  scripted_queue_resolve_reply_for_fn resolve_reply_for;
  scripted_queue_addr_reply_fn addr_reply;
  scripted_queue_register_reply_fn register_reply;
  scripted_close_daemon_side_fn close_daemon_side;
  scripted_calls_fn calls;
  scripted_last_call_fn last_call;
  scripted_count_fn live_refs;
  scripted_live_refs_of_fn live_refs_of;
  scripted_wait_idle_fn wait_idle;
  test_responder_count_fn responder_start_calls, responder_stop_calls, responder_running;

  scripted_call_args Last(const char* function);
};

// Points the layer at the "own" layout (once per process) and gives access
// to the scripted library it loads there.
Scripted& UseOwnLayout();

// A test with a fresh scripted library and a recording logger.
class ScriptedTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  Scripted* s = nullptr;
  RecordingSink sink;
};

}  // namespace layertest
