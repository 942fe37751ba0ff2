#include "responder.h"

#include <avahi-common/alternative.h>
#include <avahi-common/domain.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

#include "bonjour/dnssd_types.h"
#include "mdns/mdns_wire.h"
#include "names.h"

namespace mdns_responder {
namespace {

using mdns_wire::Header;
using mdns_wire::Reader;
using mdns_wire::Writer;
using Frame = std::vector<uint8_t>;

constexpr std::size_t kMaxUnsent = 1 << 20;   // a client that reads no more is dropped
constexpr std::size_t kMaxOperations = 1024;  // per client
constexpr std::size_t kMaxClients = 256;
constexpr int kReadsPerWakeup = 16;
constexpr uint32_t kFlagsNoAutoRename = 0x8;
constexpr int kHostRefreshSeconds = 10;
constexpr int kGoodbyeMillis = 150;  // time given to withdrawals when stopping

bool Debug() {
  static const bool on = std::getenv("TESSEL_MDNS_DEBUG") != nullptr;
  return on;
}

void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Log(const char* format, ...) {
  if (!Debug()) return;
  char line[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  std::fprintf(stderr, "tessel-mdns: %s\n", line);
}

void StackLog(AvahiLogLevel, const char* text) {
  if (Debug()) std::fprintf(stderr, "tessel-mdns stack: %s\n", text);
}

void InstallStackLog() {
  static std::once_flag once;
  std::call_once(once, [] { avahi_set_log_function(StackLog); });
}

// Runs a callback body that must not let an exception reach C code.
template <class F>
void Guarded(F&& body) noexcept {
  try {
    body();
  } catch (...) {
    Log("callback failed");
  }
}

timeval After(int millis) {
  timeval now{};
  gettimeofday(&now, nullptr);
  const long long micros = static_cast<long long>(now.tv_usec) + millis * 1000LL;
  now.tv_sec += static_cast<time_t>(micros / 1000000);
  now.tv_usec = static_cast<suseconds_t>(micros % 1000000);
  return now;
}

struct StackFree {
  void operator()(char* p) const { avahi_free(p); }
};
using StackString = std::unique_ptr<char, StackFree>;

class Server;
class Client;
class RegisterOp;

// One request of a client, alive until the client cancels it or goes.
class Operation {
 public:
  Operation(Client& client, uint32_t id) : client_(client), id_(id) {}
  virtual ~Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  // The status frame went out: replies may follow.
  void Started();

 protected:
  // Sends a reply, or holds it until the status frame is out.
  void Reply(Frame frame);
  Server& server() const;

  Client& client_;
  const uint32_t id_;

 private:
  bool started_ = false;
  std::vector<Frame> held_;
};

class Client {
 public:
  Client(Server& server, int fd);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Server& server() const { return server_; }
  bool dead() const { return dead_; }
  void Send(Frame frame);
  // Ends the connection soon; safe inside any callback.
  void Fail(const char* why);

 private:
  static void OnEvents(AvahiWatch*, int, AvahiWatchEvent events, void* self) {
    Guarded([&] { static_cast<Client*>(self)->Handle(events); });
  }
  void Handle(AvahiWatchEvent events);
  void ReadFrames();
  bool HandleFrame(const Header& header, const uint8_t* payload);
  template <class Make>
  void Begin(uint32_t id, Make make);
  void SendStatus(uint32_t id, int32_t error);
  void Flush();
  void UpdateWatch();

  Server& server_;
  int fd_;
  AvahiWatch* watch_ = nullptr;
  std::vector<uint8_t> in_;
  std::vector<uint8_t> out_;
  std::size_t out_sent_ = 0;
  bool dead_ = false;
  std::map<uint32_t, std::unique_ptr<Operation>> ops_;
};

struct HostAddress {
  AvahiIfIndex interface;
  AvahiAddress address;
  bool operator<(const HostAddress& o) const {
    if (interface != o.interface) return interface < o.interface;
    if (address.proto != o.address.proto) return address.proto < o.address.proto;
    return std::memcmp(&address.data, &o.address.data, sizeof address.data) < 0;
  }
  bool operator==(const HostAddress& o) const { return !(*this < o) && !(o < *this); }
};

class Server {
 public:
  Server(const Options& options, int wake_fd) : options_(options), wake_fd_(wake_fd) {}
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool Start();
  void Loop();

  AvahiServer* stack() const { return stack_; }
  const AvahiPoll* api() const { return api_; }
  void ScheduleReap();
  // Records were published: their withdrawal is sent when the server stops.
  void NotePublished() { published_ = true; }

  // The host name of registrations without one, with address records of
  // this machine under it while any such registration lives.
  std::string AcquireHost(RegisterOp* user);
  void ReleaseHost(RegisterOp* user);

 private:
  bool Listen();
  void Accept();
  void Reap();
  std::set<HostAddress> CurrentAddresses() const;
  void PublishHost();
  void RenameHost();

  static void OnWake(AvahiWatch*, int fd, AvahiWatchEvent, void* self);
  static void OnAccept(AvahiWatch*, int, AvahiWatchEvent, void* self) {
    Guarded([&] { static_cast<Server*>(self)->Accept(); });
  }
  static void OnReap(AvahiTimeout*, void* self) {
    Guarded([&] { static_cast<Server*>(self)->Reap(); });
  }
  static void OnRefresh(AvahiTimeout*, void* self);
  static void OnStackState(AvahiServer* s, AvahiServerState state, void* self);
  static void OnHostGroup(AvahiServer*, AvahiSEntryGroup* g, AvahiEntryGroupState state,
                          void* self);

  const Options options_;
  const int wake_fd_;
  bool stopping_ = false;
  AvahiSimplePoll* poll_ = nullptr;
  const AvahiPoll* api_ = nullptr;
  AvahiServer* stack_ = nullptr;
  AvahiWatch* wake_watch_ = nullptr;
  int listen_fd_ = -1;
  AvahiWatch* listen_watch_ = nullptr;
  std::string unlink_path_;
  dev_t socket_dev_ = 0;
  ino_t socket_ino_ = 0;
  bool check_peer_ = false;
  AvahiTimeout* reap_timeout_ = nullptr;
  std::list<std::unique_ptr<Client>> clients_;
  bool published_ = false;  // anything was published: withdrawals to send at stop

  AvahiSEntryGroup* host_group_ = nullptr;
  AvahiTimeout* host_refresh_ = nullptr;
  std::string host_label_;
  std::set<RegisterOp*> host_users_;
  std::set<HostAddress> host_addresses_;
};

// ---- operations

Server& Operation::server() const { return client_.server(); }

void Operation::Reply(Frame frame) {
  if (frame.empty()) {
    Log("reply for operation %u does not fit a frame", id_);
    return;
  }
  if (started_)
    client_.Send(std::move(frame));
  else
    held_.push_back(std::move(frame));
}

void Operation::Started() {
  started_ = true;
  for (auto& frame : held_) client_.Send(std::move(frame));
  held_.clear();
}

AvahiIfIndex InterfaceOf(uint32_t index) {
  return index == 0 ? AVAHI_IF_UNSPEC : static_cast<AvahiIfIndex>(index);
}

bool ValidInterface(uint32_t index) { return index <= static_cast<uint32_t>(INT_MAX); }

std::string DomainOrLocal(const std::string& domain) {
  const std::string d = WithoutDot(domain);
  return d.empty() ? std::string("local") : d;
}

class BrowseOp : public Operation {
 public:
  BrowseOp(Client& client, uint32_t id) : Operation(client, id) {}
  ~BrowseOp() override {
    if (browser_) avahi_s_service_browser_free(browser_);
  }

  int32_t Begin(uint32_t interface, const std::string& type, const std::string& domain) {
    if (!ValidInterface(interface)) return kDNSServiceErr_BadInterfaceIndex;
    type_ = WithoutDot(type);
    domain_ = DomainOrLocal(domain);
    if (type_.empty()) return kDNSServiceErr_BadParam;
    browser_ = avahi_s_service_browser_new(server().stack(), InterfaceOf(interface),
                                           AVAHI_PROTO_UNSPEC, type_.c_str(), domain_.c_str(),
                                           AvahiLookupFlags(0), OnEvent, this);
    return browser_ ? 0 : ErrorFromStack(avahi_server_errno(server().stack()));
  }

 private:
  static void OnEvent(AvahiSServiceBrowser*, AvahiIfIndex interface, AvahiProtocol,
                      AvahiBrowserEvent event, const char* name, const char* type,
                      const char* domain, AvahiLookupResultFlags, void* self) {
    Guarded([&] { static_cast<BrowseOp*>(self)->Handle(interface, event, name, type, domain); });
  }

  void Handle(AvahiIfIndex interface, AvahiBrowserEvent event, const char* name,
              const char* type, const char* domain) {
    if (event == AVAHI_BROWSER_FAILURE) {
      Send(0, 0, ErrorFromStack(avahi_server_errno(server().stack())), "", type_, domain_);
      return;
    }
    if (event != AVAHI_BROWSER_NEW && event != AVAHI_BROWSER_REMOVE) return;
    if (!name || !type || !domain) return;
    // The stack reports a service once per IP protocol; clients see it once.
    const auto key = std::make_tuple(interface, std::string(name), std::string(type),
                                     std::string(domain));
    if (event == AVAHI_BROWSER_NEW) {
      if (++seen_[key] == 1) Send(kDNSServiceFlagsAdd, interface, 0, name, type, domain);
      return;
    }
    auto it = seen_.find(key);
    if (it == seen_.end()) return;
    if (--it->second == 0) {
      seen_.erase(it);
      Send(0, interface, 0, name, type, domain);
    }
  }

  void Send(uint32_t flags, AvahiIfIndex interface, int32_t error, const std::string& name,
            const std::string& type, const std::string& domain) {
    Reply(Writer(mdns_wire::kBrowseReply, id_)
              .Int(flags)
              .Int(interface < 0 ? 0 : static_cast<uint32_t>(interface))
              .Int(static_cast<uint32_t>(error))
              .Text(name)
              .Text(WithDot(type))
              .Text(WithDot(domain))
              .Finish());
  }

  AvahiSServiceBrowser* browser_ = nullptr;
  std::string type_, domain_;
  std::map<std::tuple<AvahiIfIndex, std::string, std::string, std::string>, int> seen_;
};

std::vector<uint8_t> SerializeTxt(AvahiStringList* txt) {
  std::vector<uint8_t> bytes(mdns_wire::kMaxPayload);
  bytes.resize(avahi_string_list_serialize(txt, bytes.data(), bytes.size()));
  return bytes;
}

class ResolveOp : public Operation {
 public:
  ResolveOp(Client& client, uint32_t id) : Operation(client, id) {}
  ~ResolveOp() override {
    if (resolver_) avahi_s_service_resolver_free(resolver_);
  }

  int32_t Begin(uint32_t interface, const std::string& name, const std::string& type,
                const std::string& domain) {
    if (!ValidInterface(interface)) return kDNSServiceErr_BadInterfaceIndex;
    if (name.empty() || WithoutDot(type).empty()) return kDNSServiceErr_BadParam;
    // The stack asserts on names it cannot join into a valid domain name
    // (text that is not UTF-8, for one): refuse them here.
    {
      char joined[AVAHI_DOMAIN_NAME_MAX];
      if (avahi_service_name_join(joined, sizeof joined, name.c_str(), WithoutDot(type).c_str(),
                                  DomainOrLocal(domain).c_str()) != 0 ||
          !avahi_is_valid_domain_name(joined))
        return kDNSServiceErr_BadParam;
    }
    full_name_ = FullName(name, WithoutDot(type), DomainOrLocal(domain));
    resolver_ = avahi_s_service_resolver_new(
        server().stack(), InterfaceOf(interface), AVAHI_PROTO_UNSPEC, name.c_str(),
        WithoutDot(type).c_str(), DomainOrLocal(domain).c_str(), AVAHI_PROTO_UNSPEC,
        AVAHI_LOOKUP_NO_ADDRESS, OnEvent, this);
    return resolver_ ? 0 : ErrorFromStack(avahi_server_errno(server().stack()));
  }

 private:
  static void OnEvent(AvahiSServiceResolver*, AvahiIfIndex interface, AvahiProtocol,
                      AvahiResolverEvent event, const char*, const char*, const char*,
                      const char* host, const AvahiAddress*, uint16_t port, AvahiStringList* txt,
                      AvahiLookupResultFlags, void* self) {
    Guarded([&] { static_cast<ResolveOp*>(self)->Handle(interface, event, host, port, txt); });
  }

  void Handle(AvahiIfIndex interface, AvahiResolverEvent event, const char* host, uint16_t port,
              AvahiStringList* txt) {
    // A resolve that finds nothing in time stays quiet and keeps looking.
    if (event != AVAHI_RESOLVER_FOUND || !host) return;
    auto found = std::make_tuple(interface, WithDot(host), port, SerializeTxt(txt));
    if (last_ && *last_ == found) return;  // the same answer over the other IP protocol
    last_ = std::make_unique<decltype(found)>(found);
    const auto& bytes = std::get<3>(found);
    Reply(Writer(mdns_wire::kResolveReply, id_)
              .Int(0)
              .Int(interface < 0 ? 0 : static_cast<uint32_t>(interface))
              .Int(0)
              .Text(full_name_)
              .Text(std::get<1>(found))
              .Int(port)
              .Blob(bytes.data(), bytes.size())
              .Finish());
  }

  AvahiSServiceResolver* resolver_ = nullptr;
  std::string full_name_;
  std::unique_ptr<std::tuple<AvahiIfIndex, std::string, uint16_t, std::vector<uint8_t>>> last_;
};

class AddressOp : public Operation {
 public:
  AddressOp(Client& client, uint32_t id) : Operation(client, id) {}
  ~AddressOp() override {
    if (v4_) avahi_s_record_browser_free(v4_);
    if (v6_) avahi_s_record_browser_free(v6_);
  }

  int32_t Begin(uint32_t interface, uint32_t protocol, const std::string& host) {
    if (!ValidInterface(interface)) return kDNSServiceErr_BadInterfaceIndex;
    if (protocol & ~uint32_t(kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6))
      return kDNSServiceErr_BadParam;
    if (host.empty() || !avahi_is_valid_domain_name(host.c_str())) return kDNSServiceErr_BadParam;
    host_ = host;
    const bool both = protocol == 0;
    if (both || (protocol & kDNSServiceProtocol_IPv4))
      if (!(v4_ = Browse(interface, AVAHI_DNS_TYPE_A))) return Failed();
    if (both || (protocol & kDNSServiceProtocol_IPv6))
      if (!(v6_ = Browse(interface, AVAHI_DNS_TYPE_AAAA))) return Failed();
    return 0;
  }

 private:
  AvahiSRecordBrowser* Browse(uint32_t interface, uint16_t type) {
    AvahiKey* key = avahi_key_new(WithoutDot(host_).c_str(), AVAHI_DNS_CLASS_IN, type);
    if (!key) return nullptr;
    AvahiSRecordBrowser* b =
        avahi_s_record_browser_new(server().stack(), InterfaceOf(interface), AVAHI_PROTO_UNSPEC,
                                   key, AVAHI_LOOKUP_USE_MULTICAST, OnEvent, this);
    avahi_key_unref(key);
    return b;
  }

  int32_t Failed() const {
    const int32_t error = ErrorFromStack(avahi_server_errno(server().stack()));
    return error ? error : kDNSServiceErr_Unknown;
  }

  static void OnEvent(AvahiSRecordBrowser*, AvahiIfIndex interface, AvahiProtocol,
                      AvahiBrowserEvent event, AvahiRecord* record, AvahiLookupResultFlags,
                      void* self) {
    Guarded([&] { static_cast<AddressOp*>(self)->Handle(interface, event, record); });
  }

  void Handle(AvahiIfIndex interface, AvahiBrowserEvent event, AvahiRecord* record) {
    if (event == AVAHI_BROWSER_FAILURE) {
      Send(0, 0, Failed(), 4, nullptr, 0, 0);
      return;
    }
    if ((event != AVAHI_BROWSER_NEW && event != AVAHI_BROWSER_REMOVE) || !record) return;
    std::vector<uint8_t> bytes;
    uint32_t family;
    if (record->key->type == AVAHI_DNS_TYPE_A) {
      family = 4;
      const auto* p = reinterpret_cast<const uint8_t*>(&record->data.a.address.address);
      bytes.assign(p, p + 4);
    } else if (record->key->type == AVAHI_DNS_TYPE_AAAA) {
      family = 6;
      const uint8_t* p = record->data.aaaa.address.address;
      bytes.assign(p, p + 16);
    } else {
      return;
    }
    // Once per address and interface, whichever IP protocol carried it.
    const auto key = std::make_tuple(interface, bytes);
    if (event == AVAHI_BROWSER_NEW) {
      if (++seen_[key] == 1)
        Send(kDNSServiceFlagsAdd, interface, 0, family, bytes.data(), bytes.size(), record->ttl);
      return;
    }
    auto it = seen_.find(key);
    if (it == seen_.end()) return;
    if (--it->second == 0) {
      seen_.erase(it);
      Send(0, interface, 0, family, bytes.data(), bytes.size(), 0);
    }
  }

  void Send(uint32_t flags, AvahiIfIndex interface, int32_t error, uint32_t family,
            const uint8_t* address, std::size_t size, uint32_t ttl) {
    Reply(Writer(mdns_wire::kAddrReply, id_)
              .Int(flags)
              .Int(interface < 0 ? 0 : static_cast<uint32_t>(interface))
              .Int(static_cast<uint32_t>(error))
              .Text(host_)
              .Int(family)
              .Blob(address, size)
              .Int(ttl)
              .Finish());
  }

  AvahiSRecordBrowser* v4_ = nullptr;
  AvahiSRecordBrowser* v6_ = nullptr;
  std::string host_;
  std::map<std::tuple<AvahiIfIndex, std::vector<uint8_t>>, int> seen_;
};

class RegisterOp : public Operation {
 public:
  RegisterOp(Client& client, uint32_t id) : Operation(client, id) {}
  ~RegisterOp() override {
    if (group_) avahi_s_entry_group_free(group_);
    if (txt_) avahi_string_list_free(txt_);
    if (own_host_) server().ReleaseHost(this);
  }

  int32_t Begin(uint32_t flags, uint32_t interface, const std::string& name,
                const std::string& type, const std::string& domain, const std::string& host,
                uint32_t port, const std::vector<uint8_t>& txt) {
    if (!ValidInterface(interface)) return kDNSServiceErr_BadInterfaceIndex;
    if (port > 0xFFFF || WithoutDot(type).empty()) return kDNSServiceErr_BadParam;
    if (!txt.empty() && avahi_string_list_parse(txt.data(), txt.size(), &txt_) != 0)
      return kDNSServiceErr_BadParam;
    interface_ = interface;
    no_rename_ = (flags & kFlagsNoAutoRename) != 0;
    name_ = name.empty() ? std::string(avahi_server_get_host_name(server().stack())) : name;
    type_ = WithoutDot(type);
    domain_ = DomainOrLocal(domain);
    host_ = WithoutDot(host);
    port_ = static_cast<uint16_t>(port);
    if (!(group_ = avahi_s_entry_group_new(server().stack(), OnState, this)))
      return ErrorFromStack(avahi_server_errno(server().stack()));
    server().NotePublished();
    if (host_.empty()) {
      own_host_ = true;
      server().AcquireHost(this);
    }
    return Publish();
  }

  // The host name of this machine changed: publish under the new one.
  void Republish() {
    if (group_) {
      avahi_s_entry_group_reset(group_);
      if (const int32_t error = Publish()) Fail(error);
    }
  }

 private:
  int32_t Publish() {
    for (int tries = 0; tries < 100; ++tries) {
      const std::string host = own_host_ ? server().AcquireHost(nullptr) : host_;
      const int result = avahi_server_add_service_strlst(
          server().stack(), group_, InterfaceOf(interface_), AVAHI_PROTO_UNSPEC,
          AvahiPublishFlags(0), name_.c_str(), type_.c_str(), domain_.c_str(), host.c_str(),
          port_, txt_);
      if (result == AVAHI_ERR_COLLISION && !no_rename_) {
        // Taken by another registration of this responder.
        avahi_s_entry_group_reset(group_);
        Rename();
        continue;
      }
      if (result != AVAHI_OK) return ErrorFromStack(result);
      return ErrorFromStack(avahi_s_entry_group_commit(group_));
    }
    return kDNSServiceErr_NameConflict;
  }

  void Rename() {
    StackString next(avahi_alternative_service_name(name_.c_str()));
    if (next) name_ = next.get();
  }

  void Fail(int32_t error) {
    if (group_) avahi_s_entry_group_reset(group_);
    Send(error);
  }

  void Send(int32_t error) {
    Reply(Writer(mdns_wire::kRegisterReply, id_)
              .Int(error ? 0 : kDNSServiceFlagsAdd)
              .Int(interface_)
              .Int(static_cast<uint32_t>(error))
              .Text(name_)
              .Text(WithDot(type_))
              .Text(WithDot(domain_))
              .Finish());
  }

  static void OnState(AvahiServer*, AvahiSEntryGroup*, AvahiEntryGroupState state, void* self) {
    Guarded([&] { static_cast<RegisterOp*>(self)->Handle(state); });
  }

  void Handle(AvahiEntryGroupState state) {
    switch (state) {
      case AVAHI_ENTRY_GROUP_ESTABLISHED:
        Send(0);
        break;
      case AVAHI_ENTRY_GROUP_COLLISION:
        if (no_rename_) {
          Fail(kDNSServiceErr_NameConflict);
          break;
        }
        Log("name conflict for \"%s\"", name_.c_str());
        avahi_s_entry_group_reset(group_);
        Rename();
        if (const int32_t error = Publish()) Fail(error);
        break;
      case AVAHI_ENTRY_GROUP_FAILURE:
        Fail(kDNSServiceErr_Unknown);
        break;
      default:
        break;
    }
  }

  AvahiSEntryGroup* group_ = nullptr;
  AvahiStringList* txt_ = nullptr;
  uint32_t interface_ = 0;
  bool no_rename_ = false;
  bool own_host_ = false;
  std::string name_, type_, domain_, host_;
  uint16_t port_ = 0;
};

// ---- clients

Client::Client(Server& server, int fd) : server_(server), fd_(fd) {
  watch_ = server_.api()->watch_new(server_.api(), fd_, AVAHI_WATCH_IN, OnEvents, this);
  if (!watch_) dead_ = true;  // reaped with the next dead client
}

Client::~Client() {
  ops_.clear();
  if (watch_) server_.api()->watch_free(watch_);
  close(fd_);
}

void Client::Fail(const char* why) {
  if (dead_) return;
  Log("client %d: %s", fd_, why);
  dead_ = true;
  if (watch_) server_.api()->watch_update(watch_, AvahiWatchEvent(0));
  server_.ScheduleReap();
}

void Client::Handle(AvahiWatchEvent events) {
  if (dead_) return;
  if (events & AVAHI_WATCH_OUT) Flush();
  if (!dead_ && (events & (AVAHI_WATCH_IN | AVAHI_WATCH_HUP | AVAHI_WATCH_ERR))) ReadFrames();
  if (!dead_) UpdateWatch();
}

void Client::ReadFrames() {
  uint8_t chunk[16 * 1024];
  for (int reads = 0; reads < kReadsPerWakeup && !dead_; ++reads) {
    const ssize_t n = recv(fd_, chunk, sizeof chunk, MSG_DONTWAIT);
    if (n == 0) return Fail("closed");
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) Fail("read failed");
      return;
    }
    in_.insert(in_.end(), chunk, chunk + n);
    std::size_t used = 0;
    while (!dead_ && in_.size() - used >= mdns_wire::kHeaderSize) {
      Header header;
      if (!mdns_wire::ParseHeader(in_.data() + used, in_.size() - used, header))
        return Fail("bad frame header");
      const std::size_t whole = mdns_wire::kHeaderSize + header.length;
      if (in_.size() - used < whole) break;
      if (!HandleFrame(header, in_.data() + used + mdns_wire::kHeaderSize))
        return Fail("bad frame");
      used += whole;
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(used));
  }
}

template <class Make>
void Client::Begin(uint32_t id, Make make) {
  if (ops_.count(id)) return SendStatus(id, kDNSServiceErr_BadParam);
  if (ops_.size() >= kMaxOperations) return SendStatus(id, kDNSServiceErr_NoMemory);
  int32_t error = kDNSServiceErr_Unknown;
  std::unique_ptr<Operation> op = make(error);
  if (!op) return SendStatus(id, error);
  Operation* started = op.get();
  ops_.emplace(id, std::move(op));
  SendStatus(id, 0);
  started->Started();
}

// Makes an operation of type T and runs its Begin; null with the error when
// it does not start.
template <class T, class... Args>
std::unique_ptr<Operation> Make(Client& client, uint32_t id, int32_t& error, Args&&... args) {
  auto op = std::make_unique<T>(client, id);
  error = op->Begin(std::forward<Args>(args)...);
  if (error) return nullptr;
  return op;
}

bool Client::HandleFrame(const Header& h, const uint8_t* payload) {
  Reader r(payload, h.length);
  uint32_t flags = 0, interface = 0;
  switch (h.op) {
    case mdns_wire::kHello: {
      uint32_t version;
      if (!r.Int(version) || !r.AtEnd()) return false;
      SendStatus(h.id, version == mdns_wire::kVersion ? 0 : kDNSServiceErr_Incompatible);
      return true;
    }
    case mdns_wire::kBrowse: {
      std::string type, domain;
      if (!r.Int(flags) || !r.Int(interface) || !r.Text(type) || !r.Text(domain) || !r.AtEnd())
        return false;
      Begin(h.id, [&](int32_t& e) { return Make<BrowseOp>(*this, h.id, e, interface, type, domain); });
      return true;
    }
    case mdns_wire::kResolve: {
      std::string name, type, domain;
      if (!r.Int(flags) || !r.Int(interface) || !r.Text(name) || !r.Text(type) ||
          !r.Text(domain) || !r.AtEnd())
        return false;
      Begin(h.id, [&](int32_t& e) {
        return Make<ResolveOp>(*this, h.id, e, interface, name, type, domain);
      });
      return true;
    }
    case mdns_wire::kGetAddrInfo: {
      uint32_t protocol;
      std::string host;
      if (!r.Int(flags) || !r.Int(interface) || !r.Int(protocol) || !r.Text(host) || !r.AtEnd())
        return false;
      Begin(h.id, [&](int32_t& e) { return Make<AddressOp>(*this, h.id, e, interface, protocol, host); });
      return true;
    }
    case mdns_wire::kRegister: {
      std::string name, type, domain, host;
      uint32_t port;
      std::vector<uint8_t> txt;
      if (!r.Int(flags) || !r.Int(interface) || !r.Text(name) || !r.Text(type) ||
          !r.Text(domain) || !r.Text(host) || !r.Int(port) || !r.Blob(txt) || !r.AtEnd())
        return false;
      Begin(h.id, [&](int32_t& e) {
        return Make<RegisterOp>(*this, h.id, e, flags, interface, name, type, domain, host, port,
                                txt);
      });
      return true;
    }
    case mdns_wire::kCancel:
      if (!r.AtEnd()) return false;
      ops_.erase(h.id);
      return true;
    default:
      return false;  // a responder's frame
  }
}

void Client::SendStatus(uint32_t id, int32_t error) {
  Send(Writer(mdns_wire::kStatus, id).Int(static_cast<uint32_t>(error)).Finish());
}

void Client::Send(Frame frame) {
  if (dead_ || frame.empty()) return;
  if (out_sent_ == out_.size()) {
    out_.clear();
    out_sent_ = 0;
  }
  out_.insert(out_.end(), frame.begin(), frame.end());
  if (out_.size() - out_sent_ > kMaxUnsent) return Fail("does not read its replies");
  Flush();
  if (!dead_) UpdateWatch();
}

void Client::Flush() {
  while (out_sent_ < out_.size()) {
    const ssize_t n =
        send(fd_, out_.data() + out_sent_, out_.size() - out_sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) Fail("write failed");
      return;
    }
    out_sent_ += static_cast<std::size_t>(n);
  }
  out_.clear();
  out_sent_ = 0;
}

void Client::UpdateWatch() {
  if (!watch_) return;
  server_.api()->watch_update(
      watch_, AvahiWatchEvent(AVAHI_WATCH_IN | (out_sent_ < out_.size() ? AVAHI_WATCH_OUT : 0)));
}

// ---- the server

Server::~Server() {
  // No new clients while the old ones and the stack wind down.
  if (listen_watch_) api_->watch_free(listen_watch_);
  listen_watch_ = nullptr;
  if (listen_fd_ >= 0) close(listen_fd_);
  clients_.clear();
  if (host_group_) avahi_s_entry_group_free(host_group_);
  host_group_ = nullptr;
  if (stack_ && published_) {
    // Let the stack send its withdrawals before it goes.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(kGoodbyeMillis);
    for (;;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                            until - std::chrono::steady_clock::now())
                            .count();
      if (left <= 0 || avahi_simple_poll_iterate(poll_, static_cast<int>(left)) != 0) break;
    }
  }
  if (stack_) avahi_server_free(stack_);
  if (api_) {
    if (host_refresh_) api_->timeout_free(host_refresh_);
    if (reap_timeout_) api_->timeout_free(reap_timeout_);
    if (wake_watch_) api_->watch_free(wake_watch_);
  }
  if (!unlink_path_.empty()) {
    struct stat st {};
    if (stat(unlink_path_.c_str(), &st) == 0 && st.st_dev == socket_dev_ &&
        st.st_ino == socket_ino_)
      unlink(unlink_path_.c_str());
  }
  if (poll_) avahi_simple_poll_free(poll_);
}

bool Server::Start() {
  InstallStackLog();
  if (!(poll_ = avahi_simple_poll_new())) return false;
  api_ = avahi_simple_poll_get(poll_);
  if (!(wake_watch_ = api_->watch_new(api_, wake_fd_, AVAHI_WATCH_IN, OnWake, this))) return false;
  if (!(reap_timeout_ = api_->timeout_new(api_, nullptr, OnReap, this))) return false;
  if (!(host_refresh_ = api_->timeout_new(api_, nullptr, OnRefresh, this))) return false;
  if (!Listen()) return false;

  AvahiServerConfig config;
  avahi_server_config_init(&config);
  config.publish_hinfo = 0;
  config.publish_addresses = 0;
  config.publish_workstation = 0;
  config.publish_domain = 0;
  config.enable_wide_area = 0;
  config.enable_reflector = 0;
  config.add_service_cookie = 0;
  config.disallow_other_stacks = 0;
  for (const std::string& name : SplitInterfaces(options_.interfaces))
    config.allow_interfaces = avahi_string_list_add(config.allow_interfaces, name.c_str());
  int error = 0;
  stack_ = avahi_server_new(api_, &config, OnStackState, this, &error);
  avahi_server_config_free(&config);
  if (!stack_) {
    Log("the mDNS stack did not start: %s", avahi_strerror(error));
    return false;
  }
  host_label_ = avahi_server_get_host_name(stack_);
  return true;
}

void Server::Loop() {
  while (!stopping_)
    if (avahi_simple_poll_iterate(poll_, -1) != 0) break;
}

bool Server::Listen() {
  sockaddr_un addr{};
  unsigned length = 0;
  if (!options_.socket_path.empty()) {
    if (options_.socket_path.size() >= sizeof addr.sun_path) return false;
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, options_.socket_path.data(), options_.socket_path.size());
    length = static_cast<unsigned>(offsetof(sockaddr_un, sun_path) + options_.socket_path.size() + 1);
  } else if (!mdns_wire::SocketAddress(&addr, &length)) {
    Log("socket path too long");
    return false;
  }
  const bool abstract = addr.sun_path[0] == '\0';
  check_peer_ = abstract;  // a file's permissions guard a path; nothing guards a name
  if (!abstract) {
    // A path nobody answers on is left over from an earlier run.
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) return false;
    const bool taken = connect(probe, reinterpret_cast<sockaddr*>(&addr), length) == 0;
    close(probe);
    if (taken) {
      Log("%s: another responder listens there", addr.sun_path);
      return false;
    }
    unlink(addr.sun_path);
  }
  listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listen_fd_ < 0) return false;
  if (bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), length) != 0 ||
      listen(listen_fd_, 64) != 0) {
    Log("cannot listen: %s", std::strerror(errno));
    return false;
  }
  if (!abstract) {
    unlink_path_ = addr.sun_path;
    struct stat st {};
    if (stat(addr.sun_path, &st) == 0) {
      socket_dev_ = st.st_dev;
      socket_ino_ = st.st_ino;
    }
  }
  listen_watch_ = api_->watch_new(api_, listen_fd_, AVAHI_WATCH_IN, OnAccept, this);
  return listen_watch_ != nullptr;
}

void Server::Accept() {
  for (;;) {
    const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      return;
    }
    if (check_peer_) {
      ucred peer{};
      socklen_t size = sizeof peer;
      if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
          (peer.uid != geteuid() && peer.uid != 0)) {
        close(fd);
        continue;
      }
    }
    if (clients_.size() >= kMaxClients) {
      close(fd);
      continue;
    }
    clients_.push_back(std::make_unique<Client>(*this, fd));
    if (clients_.back()->dead()) ScheduleReap();
  }
}

void Server::ScheduleReap() {
  const timeval now = After(0);
  api_->timeout_update(reap_timeout_, &now);
}

void Server::Reap() {
  clients_.remove_if([](const std::unique_ptr<Client>& c) { return c->dead(); });
}

void Server::OnWake(AvahiWatch*, int fd, AvahiWatchEvent, void* self) {
  uint64_t count;
  while (read(fd, &count, sizeof count) < 0 && errno == EINTR) {
  }
  static_cast<Server*>(self)->stopping_ = true;
}

void Server::OnStackState(AvahiServer* s, AvahiServerState state, void*) {
  if (state == AVAHI_SERVER_COLLISION) {
    // The stack publishes no records of its own name; should it still
    // collide, it takes the next free one.
    StackString next(avahi_alternative_host_name(avahi_server_get_host_name(s)));
    if (next) avahi_server_set_host_name(s, next.get());
  } else if (state == AVAHI_SERVER_FAILURE) {
    Log("the mDNS stack failed: %s", avahi_strerror(avahi_server_errno(s)));
  }
}

std::string Server::AcquireHost(RegisterOp* user) {
  if (user) {
    const bool first = host_users_.empty();
    host_users_.insert(user);
    if (first) {
      host_addresses_.clear();
      PublishHost();
      const timeval next = After(kHostRefreshSeconds * 1000);
      api_->timeout_update(host_refresh_, &next);
    }
  }
  return host_label_ + "." + avahi_server_get_domain_name(stack_);
}

void Server::ReleaseHost(RegisterOp* user) {
  host_users_.erase(user);
  if (!host_users_.empty() || !host_group_) return;
  avahi_s_entry_group_free(host_group_);
  host_group_ = nullptr;
  host_addresses_.clear();
  api_->timeout_update(host_refresh_, nullptr);
}

std::set<HostAddress> Server::CurrentAddresses() const {
  std::set<HostAddress> found;
  const std::vector<std::string> allowed = SplitInterfaces(options_.interfaces);
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return found;
  for (ifaddrs* a = list; a; a = a->ifa_next) {
    if (!a->ifa_addr || !a->ifa_name || !(a->ifa_flags & IFF_UP)) continue;
    if (!(a->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK))) continue;
    if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), a->ifa_name) == allowed.end())
      continue;
    HostAddress h{};
    h.interface = static_cast<AvahiIfIndex>(if_nametoindex(a->ifa_name));
    if (h.interface <= 0) continue;
    if (a->ifa_addr->sa_family == AF_INET) {
      h.address.proto = AVAHI_PROTO_INET;
      h.address.data.ipv4.address = reinterpret_cast<sockaddr_in*>(a->ifa_addr)->sin_addr.s_addr;
    } else if (a->ifa_addr->sa_family == AF_INET6) {
      h.address.proto = AVAHI_PROTO_INET6;
      std::memcpy(h.address.data.ipv6.address,
                  &reinterpret_cast<sockaddr_in6*>(a->ifa_addr)->sin6_addr, 16);
    } else {
      continue;
    }
    found.insert(h);
  }
  freeifaddrs(list);
  return found;
}

void Server::PublishHost() {
  std::set<HostAddress> addresses = CurrentAddresses();
  if (host_group_ && addresses == host_addresses_) return;
  host_addresses_ = addresses;
  if (host_group_)
    avahi_s_entry_group_reset(host_group_);
  else if (!(host_group_ = avahi_s_entry_group_new(stack_, OnHostGroup, this)))
    return;
  const std::string fqdn = host_label_ + "." + avahi_server_get_domain_name(stack_);
  bool any = false;
  for (HostAddress h : addresses) {
    // IPv4 addresses over IPv4 only; IPv6 addresses over both.
    const AvahiProtocol over = h.address.proto == AVAHI_PROTO_INET ? AVAHI_PROTO_INET : AVAHI_PROTO_UNSPEC;
    if (avahi_server_add_address(stack_, host_group_, h.interface, over, AVAHI_PUBLISH_NO_REVERSE,
                                 fqdn.c_str(), &h.address) == AVAHI_OK)
      any = true;
  }
  if (any) avahi_s_entry_group_commit(host_group_);
}

void Server::RenameHost() {
  StackString next(avahi_alternative_host_name(host_label_.c_str()));
  if (!next) return;
  Log("host name \"%s\" is taken, now \"%s\"", host_label_.c_str(), next.get());
  host_label_ = next.get();
  host_addresses_.clear();
  PublishHost();
  for (RegisterOp* user : host_users_) user->Republish();
}

void Server::OnRefresh(AvahiTimeout* t, void* self) {
  Guarded([&] {
    auto* server = static_cast<Server*>(self);
    if (server->host_users_.empty()) return;
    server->PublishHost();
    const timeval next = After(kHostRefreshSeconds * 1000);
    server->api_->timeout_update(t, &next);
  });
}

void Server::OnHostGroup(AvahiServer*, AvahiSEntryGroup*, AvahiEntryGroupState state, void* self) {
  if (state != AVAHI_ENTRY_GROUP_COLLISION) return;
  Guarded([&] { static_cast<Server*>(self)->RenameHost(); });
}

}  // namespace

Options Options::FromEnvironment() {
  Options options;
  if (const char* list = std::getenv("TESSEL_MDNS_INTERFACES")) options.interfaces = list;
  return options;
}

bool Responder::Run(const Options& options, bool hold_on_failure) noexcept {
  int wake = -1;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (running_) return true;
    if (stop_kept_) {
      stop_kept_ = false;
      return true;
    }
    wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake < 0) return false;
    running_ = true;
    wake_fd_ = wake;
  }
  bool served = false;
  try {
    Server server(options, wake);
    if (server.Start()) {
      server.Loop();
      served = true;
    }
  } catch (...) {
    Log("the responder failed");
  }
  if (!served && hold_on_failure) {
    pollfd p{wake, POLLIN, 0};
    while (poll(&p, 1, -1) < 0 && errno == EINTR) {
    }
  }
  std::lock_guard<std::mutex> lock(mu_);
  close(wake_fd_);
  wake_fd_ = -1;
  running_ = false;
  return served;
}

void Responder::Stop() noexcept {
  std::lock_guard<std::mutex> lock(mu_);
  if (!running_) {
    stop_kept_ = true;
    return;
  }
  const uint64_t one = 1;
  while (write(wake_fd_, &one, sizeof one) < 0 && errno == EINTR) {
  }
}

}  // namespace mdns_responder
