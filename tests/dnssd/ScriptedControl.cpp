#include "ScriptedControl.h"

#include <dlfcn.h>

#include <memory>

#include "Platform/Platform.h"

namespace layertest {
namespace {

template <class Fn>
void Find(void* library, const char* name, Fn& out) {
  out = reinterpret_cast<Fn>(dlsym(library, name));
  if (!out) {
    ADD_FAILURE() << "scripted library lacks " << name;
  }
}

}  // namespace

scripted_call_args Scripted::Last(const char* function) {
  auto args = std::make_unique<scripted_call_args>();
  if (last_call(function, args.get()) != 0) {
    ADD_FAILURE() << function << " was not called";
  }
  return *args;
}

Scripted& UseOwnLayout() {
  static Scripted* s = [] {
    platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
    platform::testing::SetModuleDirectory(Layout("own"));
    auto* c = new Scripted;
    // The same path as the layer's: the same loaded library.
    c->library = dlopen((Layout("own") + "/libmdnsclient.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    c->responder = dlopen((Layout("own") + "/libmdnsresponder.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!c->library || !c->responder) {
      ADD_FAILURE() << "cannot load the scripted libraries: " << dlerror();
      return c;
    }
    Find(c->library, "scripted_reset", c->reset);
    Find(c->library, "scripted_fail_create_connection", c->fail_create_connection);
    Find(c->library, "scripted_fail_register", c->fail_register);
    Find(c->library, "scripted_fail_next", c->fail_next);
    Find(c->library, "scripted_find_ref", c->find_ref);
    Find(c->library, "scripted_queue_browse_reply", c->browse_reply);
    Find(c->library, "scripted_queue_resolve_reply", c->resolve_reply);
    Find(c->library, "scripted_queue_resolve_reply_for", c->resolve_reply_for);
    Find(c->library, "scripted_queue_addr_reply", c->addr_reply);
    Find(c->library, "scripted_queue_register_reply", c->register_reply);
    Find(c->library, "scripted_close_daemon_side", c->close_daemon_side);
    Find(c->library, "scripted_calls", c->calls);
    Find(c->library, "scripted_last_call", c->last_call);
    Find(c->library, "scripted_live_refs", c->live_refs);
    Find(c->library, "scripted_live_refs_of", c->live_refs_of);
    Find(c->library, "scripted_wait_idle", c->wait_idle);
    Find(c->responder, "test_responder_start_calls", c->responder_start_calls);
    Find(c->responder, "test_responder_stop_calls", c->responder_stop_calls);
    Find(c->responder, "test_responder_running", c->responder_running);
    return c;
  }();
  return *s;
}

void ScriptedTest::SetUp() {
  InstallLogger();
  ClearLogs();
  s = &UseOwnLayout();
  ASSERT_NE(nullptr, s->library);
  s->reset();
}

void ScriptedTest::TearDown() {
  if (s && s->library) {
    EXPECT_EQ(0, s->live_refs()) << "references left behind";
  }
}

}  // namespace layertest
