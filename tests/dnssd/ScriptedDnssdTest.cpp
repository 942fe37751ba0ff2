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

void OnResolve(DNSServiceRef ref, DNSServiceFlags flags, uint32_t, DNSServiceErrorType,
               const char* fullname, const char* host, uint16_t port, uint16_t txtLen,
               const unsigned char* txt, void* ctx) {
  static_cast<Events*>(ctx)->Add(ref, flags,
                                 S(fullname) + "|" + S(host) + "|" + std::to_string(ntohs(port)) +
                                     "|" + std::string(reinterpret_cast<const char*>(txt), txtLen));
}

void OnAddr(DNSServiceRef ref, DNSServiceFlags flags, uint32_t, DNSServiceErrorType,
            const char* host, const sockaddr* address, uint32_t ttl, void* ctx) {
  char text[INET6_ADDRSTRLEN] = "(null)";
  uint32_t scope = 0;
  if (address && address->sa_family == AF_INET) {
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  } else if (address) {
    auto* in6 = reinterpret_cast<const sockaddr_in6*>(address);
    inet_ntop(AF_INET6, &in6->sin6_addr, text, sizeof text);
    scope = in6->sin6_scope_id;
  }
  static_cast<Events*>(ctx)->Add(
      ref, flags, S(host) + "|" + text + "%" + std::to_string(scope) + "|" + std::to_string(ttl));
}

void OnRegister(DNSServiceRef ref, DNSServiceFlags flags, DNSServiceErrorType, const char* name,
                const char* type, const char* domain, void* ctx) {
  static_cast<Events*>(ctx)->Add(ref, flags, S(name) + "|" + S(type) + "|" + S(domain));
}

bool Readable(int fd, short* revents = nullptr) {
  pollfd p{fd, POLLIN, 0};
  int n = poll(&p, 1, 0);
  if (revents) *revents = p.revents;
  return n == 1;
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

TEST_F(Scripted, PrimariesOwnASocketSubordinatesShareIt) {
  DNSServiceRef conn = Connect();
  const int fd = api.sockFd(conn);
  int type = 0;
  socklen_t len = sizeof type;
  ASSERT_EQ(0, getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &len));
  EXPECT_EQ(SOCK_STREAM, type);
  DNSServiceRef sub = Browse(conn), own = Browse(nullptr);
  EXPECT_EQ(-1, api.sockFd(sub));
  EXPECT_GE(api.sockFd(own), 0);
  EXPECT_NE(fd, api.sockFd(own));
  EXPECT_EQ(kDNSServiceErr_BadReference, api.process(sub));

  DNSServiceRef viaSub = sub, viaNothing = nullptr;
  EXPECT_EQ(kDNSServiceErr_BadReference,
            api.browse(&viaSub, kShare, 0, "_x._tcp", "", OnBrowse, &events));
  EXPECT_EQ(kDNSServiceErr_BadReference,
            api.browse(&viaNothing, kShare, 0, "_x._tcp", "", OnBrowse, &events));
  EXPECT_EQ(3, api.liveRefs());
  api.dealloc(conn);  // takes its subordinate along, and closes the socket
  EXPECT_EQ(1, api.liveRefs());
  EXPECT_EQ(-1, fcntl(fd, F_GETFD));
  api.dealloc(sub);  // already gone: ignored
  api.dealloc(own);
  EXPECT_EQ(0, api.liveRefs());
}

TEST_F(Scripted, RepliesArriveOneByteAtATimeWithTheirFlags) {
  DNSServiceRef conn = Connect(), sub = Browse(conn);
  const int fd = api.sockFd(conn);
  EXPECT_FALSE(Readable(fd));
  EXPECT_EQ(0, api.queueBrowse(nullptr, kMore | kAdd, 3, 0, "Room A", "_x._tcp.", "local."));
  EXPECT_EQ(0, api.queueBrowse(sub, kMore, 3, 0, "Room B", "_x._tcp.", nullptr));
  EXPECT_EQ(
      0, api.queueBrowse(nullptr, kAdd, 4, kDNSServiceErr_Unknown, "Room C", "_x._tcp.", "local."));
  EXPECT_TRUE(Readable(fd));
  EXPECT_TRUE(events.Take().empty()) << "nothing is delivered before ProcessResult";
  EXPECT_EQ(3, api.pending());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(kDNSServiceErr_NoError, api.process(conn));
  EXPECT_FALSE(Readable(fd));
  EXPECT_EQ(1, api.waitIdle(0));
  auto seen = events.Take();
  ASSERT_EQ(3u, seen.size());
  EXPECT_EQ(kMore | kAdd, seen[0].flags);
  EXPECT_EQ(kMore, seen[1].flags);
  EXPECT_EQ(kAdd, seen[2].flags);
  EXPECT_EQ(sub, seen[0].ref);
  EXPECT_EQ("Room A|_x._tcp.|local.|3|0", seen[0].text);
  EXPECT_EQ("Room B|_x._tcp.|(null)|3|0", seen[1].text);
  EXPECT_EQ("Room C|_x._tcp.|local.|4|-65537", seen[2].text);
  api.dealloc(conn);
}

// The layer's event thread: poll, then ProcessResult, while the test scripts.
TEST_F(Scripted, EventThreadDeliversWhileTheTestQueues) {
  DNSServiceRef conn = Connect(), sub = conn;
  ASSERT_EQ(0, api.resolve(&sub, kShare, 0, "Room", "_x._tcp", "local.", OnResolve, &events));
  const int fd = api.sockFd(conn);
  std::atomic<bool> stop{false};
  std::thread loop([&] {
    while (!stop) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 5) == 1 && api.process(conn) != kDNSServiceErr_NoError) return;
    }
  });
  const int kReplies = 40;
  for (int i = 0; i < kReplies; ++i)
    EXPECT_EQ(0,
              api.queueResolve(nullptr, i + 1 < kReplies ? kMore : 0, 0, 0, "Room._x._tcp.local.",
                               "h.local.", static_cast<uint16_t>(8000 + i), "\3n=1", 4));
  EXPECT_EQ(1, api.waitIdle(10000));
  const std::thread::id loopId = loop.get_id();
  stop = true;
  loop.join();
  auto seen = events.Take();
  ASSERT_EQ(size_t{kReplies}, seen.size());
  for (int i = 0; i < kReplies; ++i) {
    EXPECT_EQ(loopId, seen[i].thread);
    EXPECT_EQ(i + 1 < kReplies ? kMore : 0u, seen[i].flags);
    EXPECT_EQ("Room._x._tcp.local.|h.local.|" + std::to_string(8000 + i) + "|\3n=1", seen[i].text);
  }
  api.dealloc(conn);
}

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

TEST_F(Scripted, ClosedDaemonSideReadsQueuedRepliesThenEndOfFile) {
  DNSServiceRef conn = Connect(), sub = Browse(conn);
  const int fd = api.sockFd(conn);
  api.queueBrowse(nullptr, 0, 0, 0, "A", "_x._tcp.", "local.");
  EXPECT_EQ(0, api.closeDaemon(sub));
  EXPECT_EQ(kDNSServiceErr_ServiceNotRunning,
            api.queueBrowse(nullptr, 0, 0, 0, "B", "_x._tcp.", "local."));
  short revents = 0;
  EXPECT_TRUE(Readable(fd, &revents));
  EXPECT_TRUE(revents & POLLIN);
  EXPECT_EQ(0, api.process(conn));
  EXPECT_EQ(1u, events.Take().size());
  EXPECT_TRUE(Readable(fd, &revents));
  EXPECT_TRUE(revents & POLLHUP);
  EXPECT_EQ(kDNSServiceErr_ServiceNotRunning, api.process(conn));
  api.dealloc(conn);
}

TEST_F(Scripted, ResolveAddressAndRegisterRepliesCarryTheirValues) {
  DNSServiceRef a = nullptr, b = nullptr, addr = nullptr, reg = nullptr;
  ASSERT_EQ(0, api.resolve(&a, 0, 2, "Room A", "_x._tcp", "local.", OnResolve, &events));
  ASSERT_EQ(0, api.resolve(&b, 0, 2, "Room B", "_x._tcp", "local.", OnResolve, &events));
  EXPECT_EQ(0, api.queueResolveFor("room a", "_x._tcp.", "local", 0, 2, 0,
                                   "Room\\032A._x._tcp.local.", "a.local.", 8009, "\4id=7", 5));
  EXPECT_EQ(kDNSServiceErr_BadReference,
            api.queueResolveFor("Room C", "_x._tcp", "local.", 0, 0, 0, "", "", 1, nullptr, 0));
  EXPECT_EQ(kDNSServiceErr_BadReference,
            api.queueResolveFor("Room B", "_y._tcp", "", 0, 0, 0, "", "", 1, nullptr, 0));
  EXPECT_EQ(0, api.queueResolveFor("Room B", nullptr, "", 0, 0, 0, "", "", 1, nullptr, 0));
  EXPECT_TRUE(Readable(api.sockFd(b)));
  EXPECT_EQ(0, api.process(b));
  EXPECT_EQ(kDNSServiceErr_BadReference, api.queueBrowse(a, 0, 0, 0, "A", "_x._tcp.", "local."));
  EXPECT_EQ(0, api.process(a));

  ASSERT_EQ(0, api.addrInfo(&addr, 0, 0, kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6,
                            "a.local.", OnAddr, &events));
  EXPECT_EQ(0, api.queueAddr(nullptr, kMore | kAdd, 2, 0, "a.local.", AF_INET, "192.0.2.7", 120));
  EXPECT_EQ(0, api.queueAddr(nullptr, kAdd, 2, 0, "a.local.", AF_INET6, "fe80::1%2", 60));
  EXPECT_EQ(kDNSServiceErr_BadParam,
            api.queueAddr(nullptr, kAdd, 2, 0, "a.local.", AF_INET, "192.0.2.300", 60));
  EXPECT_EQ(0, api.process(addr));
  EXPECT_EQ(0, api.process(addr));

  ASSERT_EQ(0, api.reg(&reg, 0, 0, nullptr, "_x._tcp", nullptr, nullptr, htons(8009), 0, nullptr,
                       OnRegister, &events));
  EXPECT_EQ(0, api.queueRegister(nullptr, kAdd, 0, "Room (2)", "_x._tcp.", "local."));
  EXPECT_EQ(0, api.process(reg));

  auto seen = events.Take();
  ASSERT_EQ(5u, seen.size());
  EXPECT_EQ(b, seen[0].ref);
  seen.erase(seen.begin());
  EXPECT_EQ(a, seen[0].ref);
  EXPECT_EQ("Room\\032A._x._tcp.local.|a.local.|8009|\4id=7", seen[0].text);
  EXPECT_EQ("a.local.|192.0.2.7%0|120", seen[1].text);
  EXPECT_EQ("a.local.|fe80::1%2|60", seen[2].text);
  EXPECT_EQ(kMore | kAdd, seen[1].flags);
  EXPECT_EQ("Room (2)|_x._tcp.|local.", seen[3].text);
  for (DNSServiceRef r : {a, b, addr, reg}) api.dealloc(r);
}

TEST_F(Scripted, ScriptedFailuresLastForTheirCount) {
  api.failConnection(kDNSServiceErr_ServiceNotRunning, 2);
  DNSServiceRef conn = nullptr;
  EXPECT_EQ(kDNSServiceErr_ServiceNotRunning, api.connect(&conn));
  EXPECT_EQ(kDNSServiceErr_ServiceNotRunning, api.connect(&conn));
  EXPECT_EQ(nullptr, conn);
  EXPECT_EQ(0, api.connect(&conn));
  EXPECT_EQ(3, api.calls("DNSServiceCreateConnection"));

  api.failRegister(kDNSServiceErr_NameConflict, 1);
  DNSServiceRef reg = conn;
  EXPECT_EQ(kDNSServiceErr_NameConflict,
            api.reg(&reg, kShare, 0, "R", "_x._tcp", "", nullptr, 1, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(0,
            api.reg(&reg, kShare, 0, "R", "_x._tcp", "", nullptr, 1, 0, nullptr, nullptr, nullptr));

  EXPECT_EQ(0, api.failNext("DNSServiceRefSockFD", 0));
  EXPECT_EQ(-1, api.sockFd(conn));
  EXPECT_GE(api.sockFd(conn), 0);
  EXPECT_EQ(-1, api.failNext("DNSServiceRefDeallocate", kDNSServiceErr_Unknown));

  api.queueRegister(nullptr, 0, 0, "R", "_x._tcp.", "local.");  // no callback: heard by nobody
  EXPECT_EQ(0, api.failNext("DNSServiceProcessResult", kDNSServiceErr_Unknown));
  EXPECT_EQ(kDNSServiceErr_Unknown, api.process(conn));
  EXPECT_EQ(1, api.pending()) << "a failed ProcessResult reads nothing";
  EXPECT_EQ(0, api.process(conn));
  EXPECT_EQ(0, api.pending());
  api.dealloc(conn);
}

TEST_F(Scripted, LastCallArgumentsAreKeptAsPassed) {
  auto args = std::make_unique<scripted_call_args>();
  EXPECT_EQ(-1, api.lastCall("DNSServiceBrowse", args.get()));
  DNSServiceRef b1 = nullptr, b2 = nullptr, conn = Connect(), reg = conn, addr = nullptr;
  api.browse(&b1, 0, 5, "_x._tcp", nullptr, OnBrowse, &events);
  ASSERT_EQ(0, api.lastCall("DNSServiceBrowse", args.get()));
  EXPECT_EQ(0, args->has_domain);
  api.browse(&b2, 0, 5, "_x._tcp", "", OnBrowse, &events);
  ASSERT_EQ(0, api.lastCall("DNSServiceBrowse", args.get()));
  EXPECT_EQ(1, args->has_domain);
  EXPECT_EQ(5u, args->interface_index);

  api.reg(&reg, kShare, 3, "Room", "_x._tcp", "local.", nullptr, htons(8009), 5, "\4id=7",
          OnRegister, &events);
  ASSERT_EQ(0, api.lastCall("DNSServiceRegister", args.get()));
  EXPECT_EQ(kShare, args->flags);
  EXPECT_EQ(conn, args->connection);
  EXPECT_EQ(8009, args->port);
  EXPECT_EQ(0, args->has_host);
  EXPECT_EQ("Room|_x._tcp|local.",
            std::string(args->name) + "|" + args->regtype + "|" + args->domain);
  EXPECT_EQ(std::string("\4id=7"), std::string(reinterpret_cast<char*>(args->txt), args->txt_len));

  api.addrInfo(&addr, 0, 0, kDNSServiceProtocol_IPv6, "h.local.", OnAddr, &events);
  ASSERT_EQ(0, api.lastCall("DNSServiceGetAddrInfo", args.get()));
  EXPECT_EQ(uint32_t{kDNSServiceProtocol_IPv6}, args->protocol);
  EXPECT_STREQ("h.local.", args->hostname);
  for (DNSServiceRef r : {b1, b2, conn, addr}) api.dealloc(r);
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
