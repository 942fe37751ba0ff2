// The public DNS-SD client functions over the local protocol
// (docs/mdns-protocol.md).
//
// Each primary reference owns a connection: a stream socket to the responder,
// the bytes read from it and the replies cut from them, and the operations
// running on it by id. Subordinates share their primary's connection.
//
// Any thread may read the socket, one at a time (`reading`): a call waiting
// for its status reads when nobody else does, and DNSServiceProcessResult
// reads when nothing is queued. Replies read by a waiting call are queued, so
// the descriptor a caller polls is an epoll set of the socket and an eventfd
// that is kept signalled while replies are queued. The connection's mutex is
// never held while a callback runs; a callback may deallocate any reference
// (each reply is looked up again before it is delivered) or start new
// subordinates.
#include <errno.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "client_frames.h"
#include "client_internal.h"
#include "dnssd_client.h"
#include "mdns/mdns_wire.h"
#include "mdns/txt_record.h"

namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;
constexpr auto kStatusTimeout = std::chrono::seconds(2);
constexpr std::size_t kReadChunk = 64 * 1024;

struct Operation {
  DNSServiceRef ref = nullptr;
  mdns_client::Callbacks callbacks;
  bool running = false;  // its status said 0: replies may be delivered
};

class Connection final : public mdns_client::StatusSink {
 public:
  ~Connection() {
    if (epoll >= 0) close(epoll);
    if (wake >= 0) close(wake);
    if (sock >= 0) close(sock);
  }

  // Status frames, while the mutex is held by the reader.
  void OnStatus(uint32_t id, int32_t error) override {
    auto it = statuses.find(id);
    if (it == statuses.end() || it->second) return;  // nobody waits for it
    it->second = error;
    if (error == 0) {
      auto op = ops.find(id);
      if (op != ops.end()) op->second.running = true;
    }
  }

  std::mutex mu;
  std::condition_variable cv;
  std::mutex writeMu;  // whole frames go out one at a time
  int sock = -1, epoll = -1, wake = -1;
  bool reading = false;  // a thread is reading the socket, without the mutex
  bool dead = false;     // closed by the responder, unreadable or malformed
  bool closed = false;   // the primary was deallocated
  bool woken = false;    // `wake` is signalled
  bool taken = false;    // a waiting call read from the socket since the last ProcessResult
  uint64_t reads = 0;
  std::vector<uint8_t> in;
  std::vector<uint8_t> chunk;  // the reader's buffer
  std::deque<mdns_client::Reply> queue;
  std::map<uint32_t, std::optional<int32_t>> statuses;  // ids waited for
  std::map<uint32_t, Operation> ops;
  uint32_t nextId = 1;
};

enum class Kind { Connection, Browse, Resolve, AddrInfo, Register };

}  // namespace

struct _DNSServiceRef_t {
  std::shared_ptr<Connection> conn;
  bool primary = false;
  uint32_t id = 0;  // 0: a connection without an operation of its own
};

namespace {

// Every reference handed out and not yet deallocated: calls with anything
// else are refused rather than followed.
std::mutex& RegistryMutex() {
  static std::mutex mu;
  return mu;
}
std::unordered_set<DNSServiceRef>& Registry() {
  static std::unordered_set<DNSServiceRef> refs;
  return refs;
}

void Register(DNSServiceRef ref) {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  Registry().insert(ref);
}

// True (and forgotten) when the reference was live.
bool Unregister(DNSServiceRef ref) {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  return Registry().erase(ref) != 0;
}

std::shared_ptr<Connection> ConnectionOf(DNSServiceRef ref, bool* primary) {
  std::lock_guard<std::mutex> lock(RegistryMutex());
  if (!ref || !Registry().count(ref)) return nullptr;
  if (primary) *primary = ref->primary;
  return ref->conn;
}

// ---- the connection's state, all with its mutex held

void SyncWake(Connection& c) {
  const bool want = !c.queue.empty();
  if (want == c.woken || c.wake < 0) return;
  if (want) {
    const uint64_t one = 1;
    if (write(c.wake, &one, sizeof one) == sizeof one) c.woken = true;
  } else {
    uint64_t value;
    if (read(c.wake, &value, sizeof value) == sizeof value || errno == EAGAIN) c.woken = false;
  }
}

void MarkDead(Connection& c) {
  if (!c.dead && c.sock >= 0) shutdown(c.sock, SHUT_RDWR);  // the responder sees the end
  c.dead = true;
  c.cv.notify_all();
}

// Reads what arrives within timeoutMs (-1: without limit) and cuts frames
// from it. Needs !c.reading; the mutex is released meanwhile.
void ReadSome(Connection& c, Lock& lock, int timeoutMs) {
  c.reading = true;
  const int fd = c.sock;
  if (c.chunk.size() != kReadChunk) c.chunk.resize(kReadChunk);
  uint8_t* buffer = c.chunk.data();
  lock.unlock();
  pollfd p{fd, POLLIN, 0};
  int ready;
  do {
    ready = poll(&p, 1, timeoutMs);
  } while (ready < 0 && errno == EINTR);
  ssize_t n = -1;
  int error = EAGAIN;
  if (ready > 0) {
    do {
      n = recv(fd, buffer, kReadChunk, MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n < 0) error = errno;
  } else if (ready < 0) {
    error = errno;
  }
  lock.lock();
  c.reading = false;
  if (n > 0) {
    ++c.reads;
    c.in.insert(c.in.end(), buffer, buffer + n);
    if (!mdns_client::CutFrames(c.in, c, c.queue)) MarkDead(c);
  } else if (n == 0 || (error != EAGAIN && error != EWOULDBLOCK)) {
    ++c.reads;
    MarkDead(c);
  }
  SyncWake(c);
  c.cv.notify_all();
}

// Waits for the status of `id` (registered in c.statuses before its request
// went out), reading the socket itself when no other thread does.
DNSServiceErrorType WaitStatus(Connection& c, Lock& lock, uint32_t id) {
  const auto deadline = Clock::now() + kStatusTimeout;
  for (;;) {
    auto it = c.statuses.find(id);
    if (it == c.statuses.end()) return kDNSServiceErr_ServiceNotRunning;
    if (it->second) {
      const DNSServiceErrorType error = *it->second;
      c.statuses.erase(it);
      return error;
    }
    const auto now = Clock::now();
    if (c.dead || c.closed || now >= deadline) {
      c.statuses.erase(it);
      return kDNSServiceErr_ServiceNotRunning;
    }
    if (c.reading) {
      c.cv.wait_until(lock, deadline);
    } else {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
      const uint64_t before = c.reads;
      ReadSome(c, lock, static_cast<int>(left.count()) + 1);
      if (c.reads != before) c.taken = true;
    }
  }
}

// Sends one whole frame; a frame that cannot go out whole ends the connection.
bool Send(Connection& c, const std::vector<uint8_t>& frame) {
  bool ok = true;
  {
    std::lock_guard<std::mutex> writing(c.writeMu);
    const auto deadline = Clock::now() + kStatusTimeout;
    std::size_t done = 0;
    while (done < frame.size()) {
      const ssize_t n =
          send(c.sock, frame.data() + done, frame.size() - done, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n > 0) {
        done += static_cast<std::size_t>(n);
        continue;
      }
      if (n < 0 && errno == EINTR) continue;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && left.count() > 0) {
        pollfd p{c.sock, POLLOUT, 0};
        if (poll(&p, 1, static_cast<int>(left.count())) >= 0 || errno == EINTR) continue;
      }
      ok = false;
      break;
    }
  }
  if (!ok) {
    Lock lock(c.mu);
    MarkDead(c);
  }
  return ok;
}

// A connection around a connected socket: the epoll set a caller polls.
std::shared_ptr<Connection> Wrap(int sock) {
  auto c = std::make_shared<Connection>();
  c->sock = sock;
  c->epoll = epoll_create1(EPOLL_CLOEXEC);
  c->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  epoll_event e{};
  e.events = EPOLLIN;
  e.data.fd = sock;
  bool ok = c->epoll >= 0 && c->wake >= 0 && epoll_ctl(c->epoll, EPOLL_CTL_ADD, sock, &e) == 0;
  e.data.fd = c->wake;
  ok = ok && epoll_ctl(c->epoll, EPOLL_CTL_ADD, c->wake, &e) == 0;
  if (ok) return c;
  c->sock = -1;  // left to the caller
  return nullptr;
}

DNSServiceErrorType Connect(std::shared_ptr<Connection>& out) {
  sockaddr_un addr;
  unsigned length = 0;
  if (!mdns_wire::SocketAddress(&addr, &length)) return kDNSServiceErr_ServiceNotRunning;
  const int sock = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (sock < 0) return kDNSServiceErr_ServiceNotRunning;
  int r;
  do {
    r = connect(sock, reinterpret_cast<const sockaddr*>(&addr), length);
  } while (r != 0 && errno == EINTR);
  if (r != 0) {
    close(sock);
    return kDNSServiceErr_ServiceNotRunning;
  }
  std::shared_ptr<Connection> c = Wrap(sock);
  if (!c) {
    close(sock);
    return kDNSServiceErr_NoMemory;
  }
  {
    Lock lock(c->mu);
    c->statuses[0] = std::nullopt;
  }
  if (!Send(*c, mdns_wire::Writer(mdns_wire::kHello, 0).Int(mdns_wire::kVersion).Finish()))
    return kDNSServiceErr_ServiceNotRunning;
  Lock lock(c->mu);
  const DNSServiceErrorType error = WaitStatus(*c, lock, 0);
  if (error != kDNSServiceErr_NoError) return error;
  out = std::move(c);
  return kDNSServiceErr_NoError;
}

// Makes the reference of a new operation: on its own connection, or with
// kDNSServiceFlagsShareConnection a subordinate of the primary in *sdRef.
// Sends the request `build` makes for the operation's id and waits for its
// status; *sdRef changes only on success.
template <class Build>
DNSServiceErrorType Start(DNSServiceRef* sdRef, DNSServiceFlags flags,
                          const mdns_client::Callbacks& callbacks, Build build) {
  if (!sdRef) return kDNSServiceErr_BadParam;
  std::shared_ptr<Connection> conn;
  const bool shared = (flags & kDNSServiceFlagsShareConnection) != 0;
  if (shared) {
    bool primary = false;
    conn = ConnectionOf(*sdRef, &primary);
    if (!conn || !primary) return kDNSServiceErr_BadReference;
  } else {
    const DNSServiceErrorType error = Connect(conn);
    if (error != kDNSServiceErr_NoError) return error;
  }
  auto* ref = new _DNSServiceRef_t;
  ref->conn = conn;
  ref->primary = !shared;
  {
    Lock lock(conn->mu);
    if (conn->closed || conn->dead) {
      delete ref;
      return kDNSServiceErr_ServiceNotRunning;
    }
    uint32_t id = conn->nextId;
    while (id == 0 || conn->ops.count(id) || conn->statuses.count(id)) ++id;
    conn->nextId = id + 1;
    ref->id = id;
    Operation& op = conn->ops[id];
    op.ref = ref;
    op.callbacks = callbacks;
    conn->statuses[id] = std::nullopt;
  }
  const uint32_t id = ref->id;
  // Live from here on: a callback may get it (and deallocate it) as soon as
  // the status is read, before this call returns.
  Register(ref);
  const std::vector<uint8_t> frame = build(id);
  DNSServiceErrorType error = kDNSServiceErr_BadParam;
  if (!frame.empty()) error = Send(*conn, frame) ? kDNSServiceErr_NoError : kDNSServiceErr_ServiceNotRunning;
  Lock lock(conn->mu);
  if (error == kDNSServiceErr_NoError) {
    error = WaitStatus(*conn, lock, id);
  } else {
    conn->statuses.erase(id);
  }
  if (error == kDNSServiceErr_NoError) {
    *sdRef = ref;  // not touched otherwise: a callback may have freed it already
    return error;
  }
  conn->ops.erase(id);
  lock.unlock();
  if (Unregister(ref)) delete ref;  // no callback saw it: it never ran
  return error;
}

uint32_t WireFlags(DNSServiceFlags flags) {
  return flags & ~static_cast<uint32_t>(kDNSServiceFlagsShareConnection | kDNSServiceFlagsMoreComing);
}

bool Matches(const mdns_client::Callbacks& cb, uint8_t op) {
  switch (op) {
    case mdns_wire::kBrowseReply: return cb.browse != nullptr;
    case mdns_wire::kResolveReply: return cb.resolve != nullptr;
    case mdns_wire::kAddrReply: return cb.addrInfo != nullptr;
    case mdns_wire::kRegisterReply: return cb.registered != nullptr;
    default: return false;
  }
}

void Deliver(DNSServiceRef ref, const mdns_client::Callbacks& cb, const mdns_client::Reply& r,
             bool more) {
  DNSServiceFlags flags = r.flags & ~static_cast<uint32_t>(kDNSServiceFlagsMoreComing);
  if (more) flags |= kDNSServiceFlagsMoreComing;
  switch (r.op) {
    case mdns_wire::kBrowseReply:
      cb.browse(ref, flags, r.interfaceIndex, r.error, r.a.c_str(), r.b.c_str(), r.c.c_str(),
                cb.context);
      break;
    case mdns_wire::kResolveReply: {
      const uint16_t port = htons(r.port);
      cb.resolve(ref, flags, r.interfaceIndex, r.error, r.a.c_str(), r.b.c_str(), port,
                 static_cast<uint16_t>(r.bytes.size()), r.bytes.empty() ? nullptr : r.bytes.data(),
                 cb.context);
      break;
    }
    case mdns_wire::kAddrReply: {
      sockaddr_storage address;
      const bool has = mdns_client::ReplyAddress(r, address);
      cb.addrInfo(ref, flags, r.interfaceIndex, r.error, r.a.c_str(),
                  has ? reinterpret_cast<const sockaddr*>(&address) : nullptr, r.ttl, cb.context);
      break;
    }
    case mdns_wire::kRegisterReply:
      cb.registered(ref, flags, r.error, r.a.c_str(), r.b.c_str(), r.c.c_str(), cb.context);
      break;
    default:
      break;
  }
}

// The operation a reply goes to, when it is running and of the reply's kind.
Operation* Target(Connection& c, const mdns_client::Reply& r) {
  auto it = c.ops.find(r.id);
  if (it == c.ops.end() || !it->second.running || !Matches(it->second.callbacks, r.op))
    return nullptr;
  return &it->second;
}

DNSServiceErrorType ProcessResult(DNSServiceRef sdRef) {
  bool primary = false;
  std::shared_ptr<Connection> conn = ConnectionOf(sdRef, &primary);
  if (!conn || !primary) return kDNSServiceErr_BadReference;
  Connection& c = *conn;
  Lock lock(c.mu);
  if (c.closed) return kDNSServiceErr_BadReference;
  if (c.queue.empty()) {
    if (c.dead) return kDNSServiceErr_ServiceNotRunning;
    if (c.taken) {
      // What made the socket readable may have been read by a waiting call:
      // only look, so that a caller polling first is not kept here.
      c.taken = false;
      if (!c.reading) ReadSome(c, lock, 0);
    } else {
      const uint64_t before = c.reads;
      while (c.queue.empty() && !c.dead && !c.closed && c.reads == before) {
        if (c.reading)
          c.cv.wait(lock);
        else
          ReadSome(c, lock, -1);
      }
    }
  }
  // Whatever else is there already, for "more coming".
  if (!c.reading && !c.dead && !c.closed) ReadSome(c, lock, 0);
  std::deque<mdns_client::Reply> batch;
  batch.swap(c.queue);
  SyncWake(c);
  const bool delivered = !batch.empty();
  for (std::size_t i = 0; i < batch.size() && !c.closed; ++i) {
    Operation* op = Target(c, batch[i]);
    if (!op) continue;  // deallocated meanwhile, or not for anyone
    bool more = !c.queue.empty();
    for (std::size_t j = i + 1; j < batch.size() && !more; ++j) more = Target(c, batch[j]) != nullptr;
    const DNSServiceRef ref = op->ref;
    const mdns_client::Callbacks callbacks = op->callbacks;
    lock.unlock();
    Deliver(ref, callbacks, batch[i], more);
    lock.lock();
  }
  if (!delivered && c.dead) return kDNSServiceErr_ServiceNotRunning;
  return kDNSServiceErr_NoError;
}

void Deallocate(DNSServiceRef ref) {
  if (!Unregister(ref)) return;
  std::shared_ptr<Connection> conn = std::move(ref->conn);
  if (ref->primary) {
    std::vector<DNSServiceRef> subordinates;
    {
      Lock lock(conn->mu);
      conn->closed = true;
      for (auto& entry : conn->ops)
        if (entry.second.ref != ref) subordinates.push_back(entry.second.ref);
      conn->ops.clear();
      conn->queue.clear();
      SyncWake(*conn);
      if (conn->sock >= 0) shutdown(conn->sock, SHUT_RDWR);
      conn->cv.notify_all();
    }
    for (DNSServiceRef sub : subordinates)
      if (Unregister(sub)) delete sub;
    delete ref;
    return;  // the descriptors close with the last holder of the connection
  }
  const uint32_t id = ref->id;
  delete ref;
  bool cancel;
  {
    Lock lock(conn->mu);
    cancel = conn->ops.erase(id) != 0 && !conn->closed && !conn->dead;
  }
  if (cancel) Send(*conn, mdns_wire::Writer(mdns_wire::kCancel, id).Finish());
}

int SockFD(DNSServiceRef ref) {
  bool primary = false;
  std::shared_ptr<Connection> conn = ConnectionOf(ref, &primary);
  if (!conn || !primary) return -1;
  return conn->epoll;
}

// Appends a name's label text with '.' and '\' escaped by '\', and control
// bytes as "\ddd".
void AppendEscaped(std::string& out, const char* s) {
  for (; *s; ++s) {
    const unsigned char c = static_cast<unsigned char>(*s);
    if (c == '.' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7F) {
      const char digits[] = {'\\', static_cast<char>('0' + c / 100),
                             static_cast<char>('0' + c / 10 % 10), static_cast<char>('0' + c % 10)};
      out.append(digits, sizeof digits);
    } else {
      out += static_cast<char>(c);
    }
  }
}

DNSServiceErrorType ConstructFullName(char* fullName, const char* service, const char* regtype,
                                      const char* domain) {
  if (!fullName) return kDNSServiceErr_BadParam;
  fullName[0] = '\0';
  if (!regtype || !*regtype || !domain) return kDNSServiceErr_BadParam;
  std::string out;
  if (service && *service) {
    AppendEscaped(out, service);
    out += '.';
  }
  out += regtype;
  if (out.back() != '.') out += '.';
  if (*domain && std::strcmp(domain, ".") != 0) {
    out += domain;
    if (out.back() != '.') out += '.';
  }
  if (out.size() + 1 > kDNSServiceMaxDomainName) return kDNSServiceErr_BadParam;
  std::memcpy(fullName, out.c_str(), out.size() + 1);
  return kDNSServiceErr_NoError;
}

const char* OrEmpty(const char* s) { return s ? s : ""; }

// Runs an exported function's body; nothing thrown leaves the library.
template <class Body>
DNSServiceErrorType Guarded(Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return kDNSServiceErr_NoMemory;
  } catch (...) {
    return kDNSServiceErr_Unknown;
  }
}

}  // namespace

namespace mdns_client {

DNSServiceErrorType AdoptConnection(int socket, DNSServiceRef* sdRef) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!sdRef || socket < 0) return kDNSServiceErr_BadParam;
    std::shared_ptr<Connection> conn = Wrap(socket);
    if (!conn) {
      close(socket);
      return kDNSServiceErr_NoMemory;
    }
    auto* ref = new _DNSServiceRef_t;
    ref->conn = std::move(conn);
    ref->primary = true;
    Register(ref);
    *sdRef = ref;
    return kDNSServiceErr_NoError;
  });
}

DNSServiceErrorType AdoptOperation(DNSServiceRef primary, uint32_t id, const Callbacks& callbacks,
                                   DNSServiceRef* sdRef) {
  return Guarded([&]() -> DNSServiceErrorType {
    bool isPrimary = false;
    std::shared_ptr<Connection> conn = ConnectionOf(primary, &isPrimary);
    if (!sdRef || !conn || !isPrimary || id == 0) return kDNSServiceErr_BadParam;
    auto* ref = new _DNSServiceRef_t;
    ref->conn = conn;
    ref->id = id;
    {
      Lock lock(conn->mu);
      if (conn->ops.count(id)) {
        delete ref;
        return kDNSServiceErr_BadParam;
      }
      Operation& op = conn->ops[id];
      op.ref = ref;
      op.callbacks = callbacks;
      op.running = true;
    }
    Register(ref);
    *sdRef = ref;
    return kDNSServiceErr_NoError;
  });
}

}  // namespace mdns_client

// ---- the exported functions

// The declarations match the function types the DNS-SD layer looks them up as.
static_assert(std::is_same<decltype(&DNSServiceBrowse), DNSServiceBrowseFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceResolve), DNSServiceResolveFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceGetAddrInfo), DNSServiceGetAddrInfoFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceRegister), DNSServiceRegisterFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceProcessResult), DNSServiceProcessResultFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceRefSockFD), DNSServiceRefSockFDFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordGetItemAtIndex), TXTRecordGetItemAtIndexFn>::value, "");

extern "C" {

DNSServiceErrorType DNSSD_API DNSServiceCreateConnection(DNSServiceRef* sdRef) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!sdRef) return kDNSServiceErr_BadParam;
    std::shared_ptr<Connection> conn;
    const DNSServiceErrorType error = Connect(conn);
    if (error != kDNSServiceErr_NoError) return error;
    auto* ref = new _DNSServiceRef_t;
    ref->conn = std::move(conn);
    ref->primary = true;
    Register(ref);
    *sdRef = ref;
    return kDNSServiceErr_NoError;
  });
}

DNSServiceErrorType DNSSD_API DNSServiceBrowse(DNSServiceRef* sdRef, DNSServiceFlags flags,
                                               uint32_t interfaceIndex, const char* regtype,
                                               const char* domain, DNSServiceBrowseReply callBack,
                                               void* context) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!regtype || !callBack) return kDNSServiceErr_BadParam;
    mdns_client::Callbacks cb;
    cb.browse = callBack;
    cb.context = context;
    return Start(sdRef, flags, cb, [&](uint32_t id) {
      return mdns_wire::Writer(mdns_wire::kBrowse, id)
          .Int(WireFlags(flags))
          .Int(interfaceIndex)
          .Text(regtype)
          .Text(OrEmpty(domain))
          .Finish();
    });
  });
}

DNSServiceErrorType DNSSD_API DNSServiceResolve(DNSServiceRef* sdRef, DNSServiceFlags flags,
                                                uint32_t interfaceIndex, const char* name,
                                                const char* regtype, const char* domain,
                                                DNSServiceResolveReply callBack, void* context) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!name || !regtype || !callBack) return kDNSServiceErr_BadParam;
    mdns_client::Callbacks cb;
    cb.resolve = callBack;
    cb.context = context;
    return Start(sdRef, flags, cb, [&](uint32_t id) {
      return mdns_wire::Writer(mdns_wire::kResolve, id)
          .Int(WireFlags(flags))
          .Int(interfaceIndex)
          .Text(name)
          .Text(regtype)
          .Text(OrEmpty(domain))
          .Finish();
    });
  });
}

DNSServiceErrorType DNSSD_API DNSServiceGetAddrInfo(DNSServiceRef* sdRef, DNSServiceFlags flags,
                                                    uint32_t interfaceIndex,
                                                    DNSServiceProtocol protocol,
                                                    const char* hostname,
                                                    DNSServiceGetAddrInfoReply callBack,
                                                    void* context) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!hostname || !callBack) return kDNSServiceErr_BadParam;
    mdns_client::Callbacks cb;
    cb.addrInfo = callBack;
    cb.context = context;
    return Start(sdRef, flags, cb, [&](uint32_t id) {
      return mdns_wire::Writer(mdns_wire::kGetAddrInfo, id)
          .Int(WireFlags(flags))
          .Int(interfaceIndex)
          .Int(protocol)
          .Text(hostname)
          .Finish();
    });
  });
}

DNSServiceErrorType DNSSD_API DNSServiceRegister(DNSServiceRef* sdRef, DNSServiceFlags flags,
                                                 uint32_t interfaceIndex, const char* name,
                                                 const char* regtype, const char* domain,
                                                 const char* host, uint16_t port, uint16_t txtLen,
                                                 const void* txtRecord,
                                                 DNSServiceRegisterReply callBack, void* context) {
  return Guarded([&]() -> DNSServiceErrorType {
    if (!regtype || (txtLen > 0 && !txtRecord)) return kDNSServiceErr_BadParam;
    mdns_client::Callbacks cb;
    cb.registered = callBack;  // may be null: then nobody hears back
    cb.context = context;
    return Start(sdRef, flags, cb, [&](uint32_t id) {
      return mdns_wire::Writer(mdns_wire::kRegister, id)
          .Int(WireFlags(flags))
          .Int(interfaceIndex)
          .Text(OrEmpty(name))
          .Text(regtype)
          .Text(OrEmpty(domain))
          .Text(OrEmpty(host))
          .Int(ntohs(port))  // the protocol carries the port in host order
          .Blob(txtRecord, txtLen)
          .Finish();
    });
  });
}

DNSServiceErrorType DNSSD_API DNSServiceProcessResult(DNSServiceRef sdRef) {
  return Guarded([&] { return ProcessResult(sdRef); });
}

int DNSSD_API DNSServiceRefSockFD(DNSServiceRef sdRef) {
  try {
    return SockFD(sdRef);
  } catch (...) {
    return -1;
  }
}

void DNSSD_API DNSServiceRefDeallocate(DNSServiceRef sdRef) {
  try {
    Deallocate(sdRef);
  } catch (...) {
  }
}

DNSServiceErrorType DNSSD_API DNSServiceConstructFullName(char* fullName, const char* service,
                                                          const char* regtype, const char* domain) {
  return Guarded([&] { return ConstructFullName(fullName, service, regtype, domain); });
}

// ---- TXT records: the shared implementation

void DNSSD_API TXTRecordCreate(TXTRecordRef* txtRecord, uint16_t bufferLen, void* buffer) {
  mdns_txt::Create(txtRecord, bufferLen, buffer);
}

void DNSSD_API TXTRecordDeallocate(TXTRecordRef* txtRecord) { mdns_txt::Deallocate(txtRecord); }

DNSServiceErrorType DNSSD_API TXTRecordSetValue(TXTRecordRef* txtRecord, const char* key,
                                                uint8_t valueSize, const void* value) {
  return mdns_txt::SetValue(txtRecord, key, valueSize, value);
}

DNSServiceErrorType DNSSD_API TXTRecordRemoveValue(TXTRecordRef* txtRecord, const char* key) {
  return mdns_txt::RemoveValue(txtRecord, key);
}

uint16_t DNSSD_API TXTRecordGetLength(const TXTRecordRef* txtRecord) {
  return mdns_txt::GetLength(txtRecord);
}

const void* DNSSD_API TXTRecordGetBytesPtr(const TXTRecordRef* txtRecord) {
  return mdns_txt::GetBytesPtr(txtRecord);
}

int DNSSD_API TXTRecordContainsKey(uint16_t txtLen, const void* txtRecord, const char* key) {
  return mdns_txt::ContainsKey(txtLen, txtRecord, key);
}

const void* DNSSD_API TXTRecordGetValuePtr(uint16_t txtLen, const void* txtRecord, const char* key,
                                           uint8_t* valueLen) {
  return mdns_txt::GetValuePtr(txtLen, txtRecord, key, valueLen);
}

uint16_t DNSSD_API TXTRecordGetCount(uint16_t txtLen, const void* txtRecord) {
  return mdns_txt::GetCount(txtLen, txtRecord);
}

DNSServiceErrorType DNSSD_API TXTRecordGetItemAtIndex(uint16_t txtLen, const void* txtRecord,
                                                      uint16_t itemIndex, uint16_t keyBufLen,
                                                      char* key, uint8_t* valueLen,
                                                      const void** value) {
  return mdns_txt::GetItemAtIndex(txtLen, txtRecord, itemIndex, keyBufLen, key, valueLen, value);
}

}  // extern "C"
