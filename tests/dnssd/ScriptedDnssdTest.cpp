// The scripted DNS-SD library and the test responder as the DNS-SD layer
// meets them: loaded by path, every function found by name.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "scripted_dnssd.h"
#include "test_responder.h"

namespace {

template <typename T>
T Sym(void* library, const char* name) {
  return reinterpret_cast<T>(dlsym(library, name));
}

// A function of the library by name, as whatever pointer type it initialises.
struct Lookup {
  void* lib;
  const char* name;
  template <typename T>
  operator T() const {
    return Sym<T>(lib, name);
  }
};

struct Api {
  void* lib = dlopen(SCRIPTED_DNSSD_PATH, RTLD_NOW | RTLD_LOCAL);
  DNSServiceCreateConnectionFn connect = Lookup{lib, "DNSServiceCreateConnection"};
  DNSServiceBrowseFn browse = Lookup{lib, "DNSServiceBrowse"};
  DNSServiceResolveFn resolve = Lookup{lib, "DNSServiceResolve"};
  DNSServiceGetAddrInfoFn addrInfo = Lookup{lib, "DNSServiceGetAddrInfo"};
  DNSServiceRegisterFn reg = Lookup{lib, "DNSServiceRegister"};
  DNSServiceProcessResultFn process = Lookup{lib, "DNSServiceProcessResult"};
  DNSServiceRefDeallocateFn dealloc = Lookup{lib, "DNSServiceRefDeallocate"};
  DNSServiceRefSockFDFn sockFd = Lookup{lib, "DNSServiceRefSockFD"};
  DNSServiceConstructFullNameFn fullName = Lookup{lib, "DNSServiceConstructFullName"};
  scripted_reset_fn reset = Lookup{lib, "scripted_reset"};
  scripted_fail_count_fn failConnection = Lookup{lib, "scripted_fail_create_connection"};
  scripted_fail_count_fn failRegister = Lookup{lib, "scripted_fail_register"};
  scripted_fail_next_fn failNext = Lookup{lib, "scripted_fail_next"};
  scripted_queue_browse_reply_fn queueBrowse = Lookup{lib, "scripted_queue_browse_reply"};
  scripted_queue_resolve_reply_fn queueResolve = Lookup{lib, "scripted_queue_resolve_reply"};
  scripted_queue_resolve_reply_for_fn queueResolveFor =
      Lookup{lib, "scripted_queue_resolve_reply_for"};
  scripted_queue_addr_reply_fn queueAddr = Lookup{lib, "scripted_queue_addr_reply"};
  scripted_queue_register_reply_fn queueRegister = Lookup{lib, "scripted_queue_register_reply"};
  scripted_close_daemon_side_fn closeDaemon = Lookup{lib, "scripted_close_daemon_side"};
  scripted_calls_fn calls = Lookup{lib, "scripted_calls"};
  scripted_last_call_fn lastCall = Lookup{lib, "scripted_last_call"};
  scripted_count_fn liveRefs = Lookup{lib, "scripted_live_refs"};
  scripted_count_fn pending = Lookup{lib, "scripted_pending_replies"};
  scripted_wait_idle_fn waitIdle = Lookup{lib, "scripted_wait_idle"};
};

struct Event {
  DNSServiceRef ref;
  DNSServiceFlags flags;
  std::string text;
  std::thread::id thread;
};

// What the callbacks saw; a callback may also deallocate its reference.
struct Events {
  std::mutex mu;
  std::vector<Event> list;
  DNSServiceRefDeallocateFn deallocOnReply = nullptr;
  void Add(DNSServiceRef ref, DNSServiceFlags flags, std::string text) {
    {
      std::lock_guard<std::mutex> lock(mu);
      list.push_back({ref, flags, std::move(text), std::this_thread::get_id()});
    }
    if (deallocOnReply) deallocOnReply(ref);
  }
  std::vector<Event> Take() {
    std::lock_guard<std::mutex> lock(mu);
    std::vector<Event> taken;
    taken.swap(list);
    return taken;
  }
};

std::string S(const char* s) { return s ? s : "(null)"; }

void OnBrowse(DNSServiceRef ref, DNSServiceFlags flags, uint32_t ifIndex, DNSServiceErrorType err,
              const char* name, const char* type, const char* domain, void* ctx) {
  static_cast<Events*>(ctx)->Add(ref, flags,
                                 S(name) + "|" + S(type) + "|" + S(domain) + "|" +
                                     std::to_string(ifIndex) + "|" + std::to_string(err));
}

const DNSServiceFlags kMore = kDNSServiceFlagsMoreComing, kAdd = kDNSServiceFlagsAdd,
                      kShare = kDNSServiceFlagsShareConnection;

class Scripted : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(nullptr, api.lib) << dlerror();
    api.reset();
  }
  void TearDown() override { api.reset(); }

  DNSServiceRef Connect() {
    DNSServiceRef ref = nullptr;
    EXPECT_EQ(kDNSServiceErr_NoError, api.connect(&ref));
    return ref;
  }
  DNSServiceRef Browse(DNSServiceRef connection) {
    DNSServiceRef ref = connection;
    EXPECT_EQ(kDNSServiceErr_NoError,
              api.browse(&ref, connection ? kShare : 0, 0, "_x._tcp", "local.", OnBrowse, &events));
    return ref;
  }

  static Api& Load() {
    static Api* loaded = new Api;
    return *loaded;
  }
  Api& api = Load();
  Events events;
};

TEST_F(Scripted, RepliesToDeallocatedReferencesAreDropped) {
  DNSServiceRef conn = Connect(), sub = Browse(conn), own = Browse(nullptr);
  events.deallocOnReply = api.dealloc;  // the first reply ends the subordinate
  api.queueBrowse(sub, kMore, 0, 0, "A", "_x._tcp.", "local.");
  api.queueBrowse(sub, 0, 0, 0, "B", "_x._tcp.", "local.");
  EXPECT_EQ(0, api.process(conn));
  EXPECT_EQ(0, api.process(conn));
  EXPECT_EQ(1u, events.Take().size());
  EXPECT_EQ(kDNSServiceErr_BadReference, api.queueBrowse(sub, 0, 0, 0, "C", "_x._tcp.", "local."));
  api.queueBrowse(own, 0, 0, 0, "D", "_x._tcp.", "local.");
  EXPECT_EQ(1, api.pending());
  api.dealloc(own);  // unread replies go with their connection
  EXPECT_EQ(1, api.waitIdle(0));
  api.dealloc(conn);
}

TEST_F(Scripted, FullNamesEscapeTheInstanceAndEndInADot) {
  char name[kDNSServiceMaxDomainName];
  EXPECT_EQ(0, api.fullName(name, "Room 1.2\\x", "_x._tcp", "local"));
  EXPECT_STREQ("Room 1\\.2\\\\x._x._tcp.local.", name);
  EXPECT_EQ(0, api.fullName(name, "A", "_x._tcp.", "local."));
  EXPECT_STREQ("A._x._tcp.local.", name);
  EXPECT_EQ(kDNSServiceErr_BadParam, api.fullName(name, "A", nullptr, "local."));
  EXPECT_EQ(kDNSServiceErr_BadParam, api.fullName(name, "A", "_x._tcp", nullptr));
  EXPECT_EQ(kDNSServiceErr_BadParam, api.fullName(nullptr, "A", "_x._tcp", "local."));
  EXPECT_EQ(kDNSServiceErr_BadParam,
            api.fullName(name, std::string(1000, 'a').c_str(), "_x._tcp", "local."));
}

TEST(ScriptedLayouts, EveryLayoutHoldsTrustedFilesWithTheirExports) {
  EXPECT_EQ(std::string(DNSSD_LAYOUTS_DIR "/own/libmdnsclient.so"), SCRIPTED_DNSSD_PATH);
  for (const char* file :
       {"own/libmdnsclient.so", "own/libmdnsresponder.so", "partial/libmdnsclient.so",
        "nostart/libmdnsclient.so", "nostart/libmdnsresponder.so", "own", "."}) {
    struct stat st {};
    const std::string path = std::string(DNSSD_LAYOUTS_DIR) + "/" + file;
    ASSERT_EQ(0, stat(path.c_str(), &st)) << path;
    EXPECT_EQ(getuid(), st.st_uid) << path;
    EXPECT_EQ(0u, st.st_mode & 022) << path;
  }
  void* partial = dlopen(SCRIPTED_DNSSD_PARTIAL_PATH, RTLD_NOW | RTLD_LOCAL);
  void* copy = dlopen(DNSSD_LAYOUTS_DIR "/nostart/libmdnsclient.so", RTLD_NOW | RTLD_LOCAL);
  void* nostart = dlopen(TEST_RESPONDER_NOSTART_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_TRUE(partial && copy && nostart) << dlerror();
  EXPECT_EQ(nullptr, dlsym(partial, "DNSServiceGetAddrInfo"));
  EXPECT_NE(nullptr, dlsym(partial, "DNSServiceBrowse"));
  EXPECT_NE(nullptr, dlsym(copy, "DNSServiceGetAddrInfo"));
  EXPECT_EQ(nullptr, dlsym(nostart, "dnssd_service_start"));
  EXPECT_NE(nullptr, dlsym(nostart, "dnssd_service_stop"));
}

TEST(TestResponder, StartBlocksUntilAStopFromAnyThread) {
  void* lib = dlopen(TEST_RESPONDER_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, lib) << dlerror();
  auto start = Sym<dnssd_service_start_fn>(lib, "dnssd_service_start");
  auto stop = Sym<dnssd_service_stop_fn>(lib, "dnssd_service_stop");
  auto starts = Sym<test_responder_count_fn>(lib, "test_responder_start_calls");
  auto running = Sym<test_responder_count_fn>(lib, "test_responder_running");
  auto waitRunning = Sym<test_responder_wait_running_fn>(lib, "test_responder_wait_running");
  Sym<test_responder_reset_fn>(lib, "test_responder_reset")();

  std::atomic<bool> returned{false};
  std::thread runner([&] {
    start();
    returned = true;
  });
  EXPECT_EQ(1, waitRunning(5000));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(returned);
  stop();
  runner.join();
  EXPECT_EQ(0, running());
  stop();   // before any start: kept,
  start();  // so this one returns at once
  EXPECT_EQ(2, starts());
  EXPECT_EQ(2, Sym<test_responder_count_fn>(lib, "test_responder_stop_calls")());
}

}  // namespace
