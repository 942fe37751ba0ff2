// The client library against a fake responder on a UNIX socket in a temporary
// folder (TESSEL_MDNS_SOCKET), speaking the local protocol with mdns_wire.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dnssd_client.h"
#include "mdns/mdns_wire.h"

namespace {
using Bytes = std::vector<uint8_t>;
using namespace mdns_wire;

struct Frame {
  Header h;
  Bytes payload;
  int conn = -1;
};

// Accepts connections, records every frame, answers each request with a
// status (0 unless told otherwise) and optional extra bytes in the same write.
class FakeResponder {
 public:
  FakeResponder() {
    char dir[] = "/tmp/mdnsclient-XXXXXX";
    dir_ = mkdtemp(dir);
    path_ = dir_ + "/sock";
    setenv("TESSEL_MDNS_SOCKET", path_.c_str(), 1);
    listen_ = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strcpy(a.sun_path, path_.c_str());
    bind(listen_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    listen(listen_, 8);
    if (pipe(stop_) != 0) abort();
    thread_ = std::thread([this] { Run(); });
  }
  ~FakeResponder() {
    if (write(stop_[1], "x", 1) != 1) abort();
    thread_.join();
    for (auto& c : conns_) if (c.fd >= 0) close(c.fd);
    close(listen_), close(stop_[0]), close(stop_[1]);
    unlink(path_.c_str());
    rmdir(dir_.c_str());
  }
  std::string Dir() const { return dir_; }
  void Status(uint8_t op, int32_t error) { std::lock_guard<std::mutex> l(mu_); status_[op] = error; }
  void Silent(uint8_t op) { std::lock_guard<std::mutex> l(mu_); silent_[op] = true; }
  void After(uint8_t op, std::function<Bytes(uint32_t)> f) { std::lock_guard<std::mutex> l(mu_); after_[op] = f; }
  // The next frame of `op` received (taken out of the record).
  Frame Take(uint8_t op) {
    std::unique_lock<std::mutex> l(mu_);
    Frame out;
    cv_.wait_for(l, std::chrono::seconds(5), [&] {
      for (auto it = frames_.begin(); it != frames_.end(); ++it)
        if (it->h.op == op) return out = *it, frames_.erase(it), true;
      return false;
    });
    return out;
  }
  bool WaitClosed(int conn) {
    std::unique_lock<std::mutex> l(mu_);
    return cv_.wait_for(l, std::chrono::seconds(5), [&] { return conns_.size() > size_t(conn) && conns_[conn].fd < 0; });
  }
  void Send(int conn, const Bytes& b) {
    std::lock_guard<std::mutex> l(mu_);
    ASSERT_EQ(send(conns_[conn].fd, b.data(), b.size(), MSG_NOSIGNAL), ssize_t(b.size()));
  }
  void CloseAll() {
    std::lock_guard<std::mutex> l(mu_);
    for (auto& c : conns_) if (c.fd >= 0) shutdown(c.fd, SHUT_RDWR);
  }

 private:
  struct Conn { int fd; Bytes in; };
  void Run() {
    for (;;) {
      std::vector<pollfd> p{{stop_[0], POLLIN, 0}, {listen_, POLLIN, 0}};
      {
        std::lock_guard<std::mutex> l(mu_);
        for (auto& c : conns_) p.push_back({c.fd, POLLIN, 0});
      }
      poll(p.data(), p.size(), -1);
      if (p[0].revents) return;
      std::lock_guard<std::mutex> l(mu_);
      if (p[1].revents) conns_.push_back({accept(listen_, nullptr, nullptr), {}});
      for (size_t i = 2; i < p.size(); ++i) {
        Conn& c = conns_[i - 2];
        if (!p[i].revents || c.fd < 0) continue;
        uint8_t buf[4096];
        const ssize_t n = recv(c.fd, buf, sizeof buf, 0);
        if (n <= 0) { close(c.fd), c.fd = -1; continue; }
        c.in.insert(c.in.end(), buf, buf + n);
        Header h;
        while (ParseHeader(c.in.data(), c.in.size(), h) && c.in.size() >= kHeaderSize + h.length) {
          Frame f{h, Bytes(c.in.begin() + kHeaderSize, c.in.begin() + kHeaderSize + h.length), int(i - 2)};
          c.in.erase(c.in.begin(), c.in.begin() + kHeaderSize + h.length);
          frames_.push_back(f);
          if (h.op == kCancel || silent_[h.op]) continue;
          Bytes out = Writer(kStatus, h.id).Int(uint32_t(status_[h.op])).Finish();
          if (after_[h.op]) { Bytes more = after_[h.op](h.id); out.insert(out.end(), more.begin(), more.end()); }
          if (send(c.fd, out.data(), out.size(), MSG_NOSIGNAL) < 0) abort();
        }
      }
      cv_.notify_all();
    }
  }
  std::string dir_, path_;
  int listen_ = -1, stop_[2] = {-1, -1};
  std::mutex mu_;
  std::condition_variable cv_;
  std::vector<Conn> conns_;
  std::vector<Frame> frames_;
  std::map<uint8_t, int32_t> status_;
  std::map<uint8_t, bool> silent_;
  std::map<uint8_t, std::function<Bytes(uint32_t)>> after_;
  std::thread thread_;
};

Bytes BrowseReply(uint32_t id, uint32_t flags, const std::string& name, int32_t error = 0) {
  return Writer(kBrowseReply, id).Int(flags).Int(1).Int(uint32_t(error)).Text(name).Text("_room._tcp.").Text("local.").Finish();
}
Bytes ResolveReply(uint32_t id, uint16_t port, const Bytes& txt) {
  return Writer(kResolveReply, id).Int(0).Int(2).Int(0).Text("Room._room._tcp.local.").Text("room-7.local.").Int(port).Blob(txt.data(), txt.size()).Finish();
}
Bytes AddrReply(uint32_t id, uint32_t ifindex, const char* text) {
  const bool v6 = std::strchr(text, ':') != nullptr;
  uint8_t a[16];
  inet_pton(v6 ? AF_INET6 : AF_INET, text, a);
  return Writer(kAddrReply, id).Int(kDNSServiceFlagsAdd).Int(ifindex).Int(0).Text("room-7.local.").Int(v6 ? 6 : 4).Blob(a, v6 ? 16 : 4).Int(120).Finish();
}
Bytes operator+(Bytes a, const Bytes& b) { return a.insert(a.end(), b.begin(), b.end()), a; }

struct Event {
  DNSServiceRef ref;
  DNSServiceFlags flags;
  uint32_t ifindex;
  int32_t error;
  std::string a, b;
  uint16_t port = 0;
  Bytes bytes{};
  sockaddr_storage addr{};
  uint32_t ttl = 0;
};

// What the callbacks saw; `hook` runs after each, outside the lock.
struct Events {
  std::mutex mu;
  std::condition_variable cv;
  std::vector<Event> list;
  std::function<void(const Event&)> hook;
  void Add(const Event& e) {
    { std::lock_guard<std::mutex> l(mu); list.push_back(e); }
    cv.notify_all();
    if (hook) hook(e);
  }
  bool WaitFor(size_t n) {
    std::unique_lock<std::mutex> l(mu);
    return cv.wait_for(l, std::chrono::seconds(5), [&] { return list.size() >= n; });
  }
};

void OnBrowse(DNSServiceRef r, DNSServiceFlags f, uint32_t i, DNSServiceErrorType e, const char* n, const char*, const char*, void* ctx) {
  static_cast<Events*>(ctx)->Add({r, f, i, e, n, ""});
}
void OnResolve(DNSServiceRef r, DNSServiceFlags f, uint32_t i, DNSServiceErrorType e, const char* n, const char* h, uint16_t port, uint16_t len, const unsigned char* txt, void* ctx) {
  Event ev{r, f, i, e, n, h, port, Bytes(txt, txt + len)};
  static_cast<Events*>(ctx)->Add(ev);
}
void OnAddr(DNSServiceRef r, DNSServiceFlags f, uint32_t i, DNSServiceErrorType e, const char* h, const sockaddr* a, uint32_t ttl, void* ctx) {
  Event ev{r, f, i, e, h, ""};
  if (a) std::memcpy(&ev.addr, a, a->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in));
  ev.ttl = ttl;
  static_cast<Events*>(ctx)->Add(ev);
}
void OnRegister(DNSServiceRef r, DNSServiceFlags f, DNSServiceErrorType e, const char* n, const char* t, const char*, void* ctx) {
  static_cast<Events*>(ctx)->Add({r, f, 0, e, n, t});
}

constexpr DNSServiceFlags kShare = kDNSServiceFlagsShareConnection;
constexpr DNSServiceFlags kMore = kDNSServiceFlagsMoreComing;

class ClientTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(DNSServiceCreateConnection(&primary), 0); }
  void TearDown() override { if (primary) DNSServiceRefDeallocate(primary); }
  // A subordinate browse on the primary and its operation id.
  DNSServiceRef Browse(uint32_t* id) {
    DNSServiceRef ref = primary;
    EXPECT_EQ(DNSServiceBrowse(&ref, kShare, 3, "_room._tcp", "local.", OnBrowse, &events), 0);
    *id = responder.Take(kBrowse).h.id;
    return ref;
  }
  bool Readable() { pollfd p{DNSServiceRefSockFD(primary), POLLIN, 0}; return poll(&p, 1, 0) == 1; }
  FakeResponder responder;
  DNSServiceRef primary = nullptr;
  Events events;
};

TEST(ClientNoResponder, EveryPrimaryCallGivesServiceNotRunning) {
  char dir[] = "/tmp/mdnsclient-XXXXXX";
  setenv("TESSEL_MDNS_SOCKET", (std::string(mkdtemp(dir)) + "/none").c_str(), 1);
  DNSServiceRef ref = nullptr;
  EXPECT_EQ(DNSServiceCreateConnection(&ref), kDNSServiceErr_ServiceNotRunning);
  EXPECT_EQ(DNSServiceBrowse(&ref, 0, 0, "_room._tcp", "", OnBrowse, nullptr), kDNSServiceErr_ServiceNotRunning);
  EXPECT_EQ(ref, nullptr);
  rmdir(dir);
}

TEST_F(ClientTest, HelloStatusAndRefusedOperations) {
  const Frame hello = responder.Take(kHello);
  uint32_t version = 0;
  EXPECT_EQ(hello.h.id, 0u);
  EXPECT_TRUE(Reader(hello.payload.data(), hello.payload.size()).Int(version));
  EXPECT_EQ(version, kVersion);
  EXPECT_GE(DNSServiceRefSockFD(primary), 0);
  responder.Status(kBrowse, kDNSServiceErr_Refused);
  DNSServiceRef ref = primary;
  EXPECT_EQ(DNSServiceBrowse(&ref, kShare, 0, "_room._tcp", "", OnBrowse, &events), kDNSServiceErr_Refused);
  EXPECT_EQ(ref, primary);  // unchanged on failure
  responder.Status(kHello, kDNSServiceErr_Incompatible);
  DNSServiceRef other = nullptr;
  EXPECT_EQ(DNSServiceCreateConnection(&other), kDNSServiceErr_Incompatible);
  responder.Silent(kHello);  // no answer within the bounded wait
  EXPECT_EQ(DNSServiceCreateConnection(&other), kDNSServiceErr_ServiceNotRunning);
  EXPECT_EQ(other, nullptr);
}

TEST_F(ClientTest, BrowseSetsMoreComingExactlyWhileRepliesAreQueued) {
  uint32_t id;
  DNSServiceRef browse = Browse(&id);
  EXPECT_EQ(DNSServiceRefSockFD(browse), -1);
  EXPECT_EQ(DNSServiceProcessResult(browse), kDNSServiceErr_BadReference);
  responder.Send(0, BrowseReply(id, kDNSServiceFlagsAdd, "A") + BrowseReply(id, kDNSServiceFlagsAdd | kMore, "B") +
                        BrowseReply(id, 0, "A"));
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  ASSERT_EQ(events.list.size(), 3u);
  EXPECT_EQ(events.list[0].flags, kDNSServiceFlagsAdd | kMore);
  EXPECT_EQ(events.list[1].flags, kDNSServiceFlagsAdd | kMore);
  EXPECT_EQ(events.list[2].flags, 0u);  // a removal, the last one: the responder's bit is not trusted
  EXPECT_EQ(events.list[1].a, "B");
  EXPECT_EQ(events.list[0].ref, browse);
  const Bytes c = BrowseReply(id, kDNSServiceFlagsAdd, "C");  // arrives in two parts
  responder.Send(0, Bytes(c.begin(), c.begin() + 15));
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  EXPECT_EQ(events.list.size(), 3u);
  responder.Send(0, Bytes(c.begin() + 15, c.end()));
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  EXPECT_EQ(events.list.at(3).flags, kDNSServiceFlagsAdd);
  EXPECT_EQ(events.list.at(3).a, "C");
}

TEST_F(ClientTest, SubordinateDeallocCancelsAndDropsItsReplies) {
  uint32_t a, b;
  DNSServiceRef ra = Browse(&a);
  Browse(&b);
  EXPECT_NE(a, b);
  responder.Send(0, BrowseReply(b, 2, "B1") + BrowseReply(a, 2, "A"));
  DNSServiceRefDeallocate(ra);
  EXPECT_EQ(responder.Take(kCancel).h.id, a);
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  ASSERT_EQ(events.list.size(), 1u);
  EXPECT_EQ(events.list[0].flags, 2u);  // nothing more for anyone alive
}

TEST_F(ClientTest, CallbacksMayDeallocateTheirOwnOtherAndPrimaryRefs) {
  uint32_t a, b, c;
  DNSServiceRef ra = Browse(&a), rb = Browse(&b);
  Browse(&c);
  events.hook = [&](const Event& e) {
    if (e.a == "A1") DNSServiceRefDeallocate(ra), DNSServiceRefDeallocate(rb);
    if (e.a == "C1") DNSServiceRefDeallocate(primary), primary = nullptr;
  };
  responder.Send(0, BrowseReply(a, 2, "A1") + BrowseReply(b, 2, "B1") + BrowseReply(a, 2, "A2") +
                        BrowseReply(c, 2, "C1") + BrowseReply(c, 2, "C2"));
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  ASSERT_EQ(events.list.size(), 2u);
  EXPECT_EQ(events.list[0].flags & kMore, kMore);
  EXPECT_EQ(events.list[1].a, "C1");  // the primary's end stops C2
  EXPECT_TRUE(responder.WaitClosed(0));
}

TEST_F(ClientTest, ResolveStartedInACallbackGetsRepliesReadWhileStarting) {
  uint32_t id;
  Browse(&id);
  const Bytes txt = {3, 'a', '=', '1'};
  responder.After(kResolve, [&](uint32_t rid) { return ResolveReply(rid, 8080, txt); });
  DNSServiceErrorType started = -1;
  events.hook = [&](const Event& e) {
    if (e.a != "Room") return;
    DNSServiceRef r = primary;
    started = DNSServiceResolve(&r, kShare, 0, "Room", "_room._tcp", "local.", OnResolve, &events);
  };
  responder.Send(0, BrowseReply(id, 2, "Room"));
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  EXPECT_EQ(started, 0);
  EXPECT_TRUE(Readable());  // the queued reply keeps the descriptor readable
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  ASSERT_EQ(events.list.size(), 2u);
  EXPECT_EQ(events.list[1].port, htons(8080));
  EXPECT_EQ(events.list[1].b, "room-7.local.");
  EXPECT_EQ(events.list[1].bytes, txt);
  EXPECT_FALSE(Readable());
}

TEST_F(ClientTest, SubordinatesStartFromAnotherThreadWhileProcessResultBlocks) {
  std::thread loop([&] { while (DNSServiceProcessResult(primary) == 0) {} });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  uint32_t id;
  Browse(&id);
  responder.Send(0, BrowseReply(id, 2, "X"));
  EXPECT_TRUE(events.WaitFor(1));
  responder.After(kResolve, [&](uint32_t rid) { return ResolveReply(rid, 1, {}); });
  for (int i = 0; i < 20; ++i) {
    DNSServiceRef r = primary;
    EXPECT_EQ(DNSServiceResolve(&r, kShare, 0, "Room", "_room._tcp", "", OnResolve, &events), 0);
  }
  EXPECT_TRUE(events.WaitFor(21));
  responder.CloseAll();
  loop.join();
  EXPECT_EQ(DNSServiceProcessResult(primary), kDNSServiceErr_ServiceNotRunning);
  DNSServiceRef r = primary;
  EXPECT_EQ(DNSServiceResolve(&r, kShare, 0, "Room", "_room._tcp", "", OnResolve, &events), kDNSServiceErr_ServiceNotRunning);
}

TEST_F(ClientTest, AddressRepliesGiveSockaddrsWithLinkLocalScope) {
  DNSServiceRef ref = primary;
  ASSERT_EQ(DNSServiceGetAddrInfo(&ref, kShare, 0, 3, "room-7.local.", OnAddr, &events), 0);
  const Frame req = responder.Take(kGetAddrInfo);
  Reader r(req.payload.data(), req.payload.size());
  uint32_t flags, ifindex, protocol;
  std::string host;
  EXPECT_TRUE(r.Int(flags) && r.Int(ifindex) && r.Int(protocol) && r.Text(host) && r.AtEnd());
  EXPECT_EQ(flags, 0u);  // the sharing flag is the library's business
  EXPECT_EQ(protocol, 3u);
  EXPECT_EQ(host, "room-7.local.");
  const Bytes failed = Writer(kAddrReply, req.h.id).Int(0).Int(0).Int(uint32_t(kDNSServiceErr_NoSuchRecord)).Text("room-7.local.").Int(0).Blob(nullptr, 0).Int(0).Finish();
  responder.Send(0, AddrReply(req.h.id, 2, "192.168.1.7") + AddrReply(req.h.id, 5, "fe80::1") +
                        AddrReply(req.h.id, 5, "2001:db8::1") + failed);
  ASSERT_EQ(DNSServiceProcessResult(primary), 0);
  ASSERT_EQ(events.list.size(), 4u);
  const auto& v4 = reinterpret_cast<const sockaddr_in&>(events.list[0].addr);
  const auto& ll = reinterpret_cast<const sockaddr_in6&>(events.list[1].addr);
  const auto& global = reinterpret_cast<const sockaddr_in6&>(events.list[2].addr);
  EXPECT_EQ(v4.sin_family, AF_INET);
  EXPECT_EQ(v4.sin_addr.s_addr, inet_addr("192.168.1.7"));
  EXPECT_EQ(events.list[0].ttl, 120u);
  EXPECT_EQ(ll.sin6_family, AF_INET6);
  EXPECT_EQ(ll.sin6_scope_id, 5u);
  EXPECT_EQ(ll.sin6_addr.s6_addr[0], 0xFE);
  EXPECT_EQ(global.sin6_scope_id, 0u);
  EXPECT_EQ(events.list[3].error, kDNSServiceErr_NoSuchRecord);
  EXPECT_EQ(events.list[3].addr.ss_family, 0);  // no address given
  EXPECT_EQ(events.list[2].flags, kDNSServiceFlagsAdd | kMore);
}

// Bad input from the responder: each ends the connection.
TEST_F(ClientTest, MalformedFramesEndTheConnection) {
  Bytes badMagic = BrowseReply(1, 2, "A");
  badMagic[0] = 0;
  Bytes oversized = Writer(kBrowseReply, 1).Finish();
  oversized[5] = 0x40, oversized[6] = 0, oversized[7] = 1;  // 16385 bytes
  Bytes pastEnd = BrowseReply(1, 2, "A");
  pastEnd[7] -= 2;
  pastEnd.resize(pastEnd.size() - 2);
  const std::vector<Bytes> bad = {
      badMagic, oversized, pastEnd,
      Writer(kBrowse, 1).Int(0).Int(0).Text("_x._tcp").Text("").Finish(),  // a client's op
      Writer(kStatus, 1).Int(0).Int(0).Finish(),                           // bytes left over
      Writer(kAddrReply, 1).Int(0).Int(0).Int(0).Text("h").Int(4).Blob("0123456789abcdef", 16).Int(1).Finish(),
      Writer(kResolveReply, 1).Int(0).Int(0).Int(0).Text("f").Text("h").Int(70000).Blob(nullptr, 0).Finish()};
  for (size_t i = 0; i < bad.size(); ++i) {
    SCOPED_TRACE(i);
    DNSServiceRef conn = nullptr;
    ASSERT_EQ(DNSServiceCreateConnection(&conn), 0);
    DNSServiceRef ref = conn;
    ASSERT_EQ(DNSServiceBrowse(&ref, kShare, 0, "_room._tcp", "", OnBrowse, &events), 0);
    const uint32_t id = responder.Take(kBrowse).h.id;
    responder.Send(int(i) + 1, BrowseReply(id, 2, "ok") + bad[i]);
    EXPECT_EQ(DNSServiceProcessResult(conn), 0);  // what came before is delivered
    EXPECT_EQ(DNSServiceProcessResult(conn), kDNSServiceErr_ServiceNotRunning);
    EXPECT_EQ(DNSServiceProcessResult(conn), kDNSServiceErr_ServiceNotRunning);
    EXPECT_TRUE(responder.WaitClosed(int(i) + 1));
    DNSServiceRefDeallocate(conn);
  }
  EXPECT_EQ(events.list.size(), bad.size());
}

TEST_F(ClientTest, RegisterSendsHostOrderPortAndReportsTheRename) {
  DNSServiceRef reg = nullptr;
  const Bytes txt = {5, 'k', '=', 'v', 'a', 'l'};
  ASSERT_EQ(DNSServiceRegister(&reg, 0, 0, "Room", "_room._tcp", nullptr, nullptr, htons(8080), uint16_t(txt.size()), txt.data(), OnRegister, &events), 0);
  EXPECT_GE(DNSServiceRefSockFD(reg), 0);
  EXPECT_NE(DNSServiceRefSockFD(reg), DNSServiceRefSockFD(primary));
  const Frame f = responder.Take(kRegister);
  Reader r(f.payload.data(), f.payload.size());
  uint32_t flags, ifindex, port;
  std::string name, type, domain, host;
  Bytes blob;
  EXPECT_TRUE(r.Int(flags) && r.Int(ifindex) && r.Text(name) && r.Text(type) && r.Text(domain) &&
              r.Text(host) && r.Int(port) && r.Blob(blob) && r.AtEnd());
  EXPECT_EQ(port, 8080u);
  EXPECT_EQ(name, "Room");
  EXPECT_EQ(blob, txt);
  responder.Send(f.conn, Writer(kRegisterReply, f.h.id).Int(2).Int(0).Int(0).Text("Room (2)").Text("_room._tcp.").Text("local.").Finish());
  ASSERT_EQ(DNSServiceProcessResult(reg), 0);
  ASSERT_EQ(events.list.size(), 1u);
  EXPECT_EQ(events.list[0].a, "Room (2)");
  EXPECT_EQ(events.list[0].flags, 2u);
  DNSServiceRefDeallocate(reg);
  EXPECT_TRUE(responder.WaitClosed(f.conn));
  responder.Status(kRegister, kDNSServiceErr_NameConflict);
  reg = nullptr;
  EXPECT_EQ(DNSServiceRegister(&reg, 0, 0, "Room", "_room._tcp", "", nullptr, 1, 0, nullptr, nullptr, nullptr), kDNSServiceErr_NameConflict);
  EXPECT_EQ(reg, nullptr);
}

TEST(ClientFullName, EscapesTheInstanceAndEndsWithOneDot) {
  char out[kDNSServiceMaxDomainName];
  EXPECT_EQ(DNSServiceConstructFullName(out, "My.Room\\1", "_room._tcp", "local"), 0);
  EXPECT_STREQ(out, "My\\.Room\\\\1._room._tcp.local.");
  EXPECT_EQ(DNSServiceConstructFullName(out, "a\tb\x7f\xc3\xa9", "_x._tcp.", "local."), 0);
  EXPECT_STREQ(out, "a\\009b\\127\xc3\xa9._x._tcp.local.");
  EXPECT_EQ(DNSServiceConstructFullName(out, std::string(990, 'x').c_str(), "_x._tcp", "local"), 0);
  EXPECT_EQ(DNSServiceConstructFullName(out, std::string(1000, '.').c_str(), "_x._tcp", "local"), kDNSServiceErr_BadParam);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(DNSServiceConstructFullName(out, "a", nullptr, "local"), kDNSServiceErr_BadParam);
  EXPECT_EQ(DNSServiceConstructFullName(nullptr, "a", "_x._tcp", "local"), kDNSServiceErr_BadParam);
}

TEST(ClientLibrary, ExportsOnlyThePublicFunctionsAndIsNotWritableByOthers) {
  void* lib = dlopen(MDNSCLIENT_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr);
  for (const char* name : {"DNSServiceCreateConnection", "DNSServiceBrowse", "DNSServiceResolve", "DNSServiceGetAddrInfo", "DNSServiceRegister",
                           "DNSServiceProcessResult", "DNSServiceRefSockFD", "DNSServiceRefDeallocate", "DNSServiceConstructFullName",
                           "TXTRecordCreate", "TXTRecordDeallocate", "TXTRecordSetValue", "TXTRecordGetLength", "TXTRecordGetBytesPtr",
                           "TXTRecordGetCount", "TXTRecordGetItemAtIndex", "TXTRecordGetValuePtr", "TXTRecordContainsKey"})
    EXPECT_NE(dlsym(lib, name), nullptr) << name;
  EXPECT_EQ(dlsym(lib, "_ZN9mdns_wire11ParseHeaderEPKhmRNS_6HeaderE"), nullptr);
  EXPECT_EQ(dlsym(lib, "_ZN11mdns_client9CutFramesERSt6vectorIhSaIhEERNS_10StatusSinkERSt5dequeINS_5ReplyESaIS7_EE"), nullptr);
  dlclose(lib);
  std::string dir = MDNSCLIENT_PATH;
  for (const std::string& path : {dir, dir.substr(0, dir.rfind('/'))}) {
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & (S_IWGRP | S_IWOTH), 0u) << path;
  }
  TXTRecordRef txt;
  TXTRecordCreate(&txt, 0, nullptr);
  EXPECT_EQ(TXTRecordSetValue(&txt, "k", 2, "v1"), 0);
  uint8_t len = 0;
  EXPECT_EQ(TXTRecordGetCount(TXTRecordGetLength(&txt), TXTRecordGetBytesPtr(&txt)), 1);
  EXPECT_EQ(std::memcmp(TXTRecordGetValuePtr(TXTRecordGetLength(&txt), TXTRecordGetBytesPtr(&txt), "K", &len), "v1", 2), 0);
  TXTRecordDeallocate(&txt);
}

}  // namespace
