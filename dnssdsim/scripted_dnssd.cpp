// The scripted DNS-SD client library; see scripted_dnssd.h.
//
// One mutex guards all state. Reply callbacks run without it: the layer's
// callbacks call back into this library (deallocating references, starting
// resolves), and the test thread keeps scripting meanwhile.
#include "scripted_dnssd.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "mdns/txt_record.h"

#define SCRIPTED_EXPORT __attribute__((visibility("default")))

namespace {

const char kCreateConnection[] = "DNSServiceCreateConnection";
const char kBrowse[] = "DNSServiceBrowse";
const char kResolve[] = "DNSServiceResolve";
const char kGetAddrInfo[] = "DNSServiceGetAddrInfo";
const char kRegister[] = "DNSServiceRegister";
const char kProcessResult[] = "DNSServiceProcessResult";
const char kRefDeallocate[] = "DNSServiceRefDeallocate";
const char kRefSockFD[] = "DNSServiceRefSockFD";
const char kConstructFullName[] = "DNSServiceConstructFullName";

// Functions whose next call scripted_fail_next can make fail.
const char* const kFallible[] = {kCreateConnection,
                                 kBrowse,
                                 kResolve,
                                 kGetAddrInfo,
                                 kRegister,
                                 kProcessResult,
                                 kRefSockFD,
                                 kConstructFullName,
                                 "TXTRecordSetValue",
                                 "TXTRecordRemoveValue",
                                 "TXTRecordGetItemAtIndex"};

using Text = std::optional<std::string>;

Text TextOf(const char* s) { return s ? Text(s) : std::nullopt; }
const char* CStr(const Text& t) { return t ? t->c_str() : nullptr; }

bool SameName(const std::string& a, const char* b, bool ignoreTrailingDot) {
  size_t na = a.size(), nb = std::strlen(b);
  if (ignoreTrailingDot) {
    if (na > 0 && a[na - 1] == '.') --na;
    if (nb > 0 && b[nb - 1] == '.') --nb;
  }
  if (na != nb) return false;
  for (size_t i = 0; i < na; ++i) {
    unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
    if (x >= 'A' && x <= 'Z') x += 'a' - 'A';
    if (y >= 'A' && y <= 'Z') y += 'a' - 'A';
    if (x != y) return false;
  }
  return true;
}

enum class Kind { Connection, Browse, Resolve, AddrInfo, Register };

bool KindOf(const char* function, Kind* kind) {
  if (!function) return false;
  const std::pair<const char*, Kind> kinds[] = {{kCreateConnection, Kind::Connection},
                                                {kBrowse, Kind::Browse},
                                                {kResolve, Kind::Resolve},
                                                {kGetAddrInfo, Kind::AddrInfo},
                                                {kRegister, Kind::Register}};
  for (const auto& k : kinds) {
    if (std::strcmp(k.first, function) == 0) {
      *kind = k.second;
      return true;
    }
  }
  return false;
}

// One queued reply. The texts are, by kind: browse name, regtype, domain;
// resolve fullname, hosttarget; address hostname; register name, regtype, domain.
struct Reply {
  uint64_t target = 0;
  DNSServiceFlags flags = 0;
  uint32_t interfaceIndex = 0;
  DNSServiceErrorType error = kDNSServiceErr_NoError;
  Text a, b, c;
  uint16_t portNetworkOrder = 0;
  bool hasTxt = false;
  std::vector<unsigned char> txt;
  bool hasAddress = false;
  sockaddr_storage address{};
  uint32_t ttl = 0;
};

struct Callbacks {
  DNSServiceBrowseReply browse = nullptr;
  DNSServiceResolveReply resolve = nullptr;
  DNSServiceGetAddrInfoReply addrInfo = nullptr;
  DNSServiceRegisterReply registered = nullptr;
  void* context = nullptr;
};

struct Ref {
  uint64_t id = 0;
  Kind kind = Kind::Connection;
  Ref* primary = nullptr;  // itself for a primary
  // A primary's socket pair and the replies queued on its connection.
  int clientFd = -1;
  int daemonFd = -1;
  std::deque<Reply> queue;
  Callbacks callbacks;
  Text name, regtype, domain;  // as passed; hostname of an address look-up in name

  Ref() = default;
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  ~Ref() {
    if (clientFd >= 0) close(clientFd);
    CloseDaemonSide();
  }
  void CloseDaemonSide() {
    if (daemonFd < 0) return;
    shutdown(daemonFd, SHUT_RDWR);
    close(daemonFd);
    daemonFd = -1;
  }
};

struct State {
  std::mutex mu;
  std::condition_variable idle;
  std::vector<std::unique_ptr<Ref>> refs;  // live ones, oldest first
  uint64_t nextId = 1;
  int pending = 0;  // queued and not yet delivered
  std::map<std::string, int> calls;
  std::map<std::string, std::unique_ptr<scripted_call_args>> lastCall;
  std::map<std::string, DNSServiceErrorType> failNext;
  DNSServiceErrorType connectionError = kDNSServiceErr_NoError;
  int connectionFailures = 0;
  DNSServiceErrorType registerError = kDNSServiceErr_NoError;
  int registerFailures = 0;
};

// Never destroyed: a layer thread may still call in while the process exits.
State& G() {
  static State* state = new State;
  return *state;
}

using Lock = std::lock_guard<std::mutex>;

DNSServiceRef Handle(Ref* ref) { return reinterpret_cast<DNSServiceRef>(ref); }

Ref* Find(State& g, DNSServiceRef handle) {
  for (auto& r : g.refs)
    if (Handle(r.get()) == handle) return r.get();
  return nullptr;
}

Ref* FindId(State& g, uint64_t id) {
  for (auto& r : g.refs)
    if (r->id == id) return r.get();
  return nullptr;
}

Ref* MostRecent(State& g, Kind kind, const char* name) {
  for (auto it = g.refs.rbegin(); it != g.refs.rend(); ++it) {
    Ref* r = it->get();
    if (r->kind != kind) continue;
    const Text& main = kind == Kind::Browse ? r->regtype : r->name;
    if (!name || (main && SameName(*main, name, kind != Kind::Resolve && kind != Kind::Register)))
      return r;
  }
  return nullptr;
}

void Delivered(State& g, int count) {
  g.pending -= count;
  if (g.pending <= 0) {
    g.pending = 0;
    g.idle.notify_all();
  }
}

template <size_t N>
void Put(char (&dst)[N], int* has, const char* src) {
  *has = src != nullptr;
  if (!src) return;
  size_t n = std::min(std::strlen(src), N - 1);
  std::memcpy(dst, src, n);
  dst[n] = 0;
}

// Counts the call and starts a fresh record of its arguments.
scripted_call_args& Record(State& g, const char* function) {
  ++g.calls[function];
  auto& slot = g.lastCall[function];
  if (!slot) slot = std::make_unique<scripted_call_args>();
  std::memset(slot.get(), 0, sizeof *slot);
  return *slot;
}

scripted_call_args& RecordRefCall(State& g, const char* function, DNSServiceRef* sdRef,
                                  DNSServiceFlags flags, uint32_t interfaceIndex,
                                  bool hasCallback) {
  scripted_call_args& a = Record(g, function);
  a.flags = flags;
  a.interface_index = interfaceIndex;
  a.has_callback = hasCallback;
  if (sdRef && (flags & kDNSServiceFlagsShareConnection)) a.connection = *sdRef;
  return a;
}

bool TakeFailure(State& g, const char* function, DNSServiceErrorType* error) {
  auto it = g.failNext.find(function);
  if (it == g.failNext.end()) return false;
  *error = it->second;
  g.failNext.erase(it);
  return true;
}

// A new reference: on its own socket pair, or on the connection passed in
// *sdRef with kDNSServiceFlagsShareConnection.
DNSServiceErrorType MakeRef(State& g, DNSServiceRef* sdRef, DNSServiceFlags flags, Kind kind,
                            Ref** made) {
  auto ref = std::make_unique<Ref>();
  ref->kind = kind;
  if (flags & kDNSServiceFlagsShareConnection) {
    Ref* primary = Find(g, *sdRef);
    if (!primary || primary->kind != Kind::Connection) return kDNSServiceErr_BadReference;
    ref->primary = primary;
  } else {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return kDNSServiceErr_Unknown;
    ref->primary = ref.get();
    ref->clientFd = fds[0];
    ref->daemonFd = fds[1];
  }
  ref->id = g.nextId++;
  *made = ref.get();
  g.refs.push_back(std::move(ref));
  *sdRef = Handle(*made);
  return kDNSServiceErr_NoError;
}

void RemoveRef(State& g, Ref* ref) {
  if (ref->primary == ref) {
    Delivered(g, static_cast<int>(ref->queue.size()));
    ref->queue.clear();
  }
  // Subordinates go with their primary.
  g.refs.erase(std::remove_if(g.refs.begin(), g.refs.end(),
                              [ref](const std::unique_ptr<Ref>& r) {
                                return r.get() == ref || r->primary == ref;
                              }),
               g.refs.end());
}

DNSServiceErrorType EnqueueLocked(State& g, Ref* target, Kind kind, Reply reply) {
  if (!target || target->kind != kind) return kDNSServiceErr_BadReference;
  Ref* connection = target->primary;
  if (connection->daemonFd < 0) return kDNSServiceErr_ServiceNotRunning;
  const unsigned char wake = 1;
  if (send(connection->daemonFd, &wake, 1, MSG_NOSIGNAL | MSG_DONTWAIT) != 1)
    return kDNSServiceErr_Unknown;
  reply.target = target->id;
  connection->queue.push_back(std::move(reply));
  ++g.pending;
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType Enqueue(DNSServiceRef target, Kind kind, Reply reply) {
  State& g = G();
  Lock lock(g.mu);
  Ref* ref = target ? Find(g, target) : MostRecent(g, kind, nullptr);
  return EnqueueLocked(g, ref, kind, std::move(reply));
}

bool ParseAddress(int family, const char* text, sockaddr_storage* out) {
  std::memset(out, 0, sizeof *out);
  if (family == AF_INET) {
    auto* in = reinterpret_cast<sockaddr_in*>(out);
    in->sin_family = AF_INET;
    return inet_pton(AF_INET, text, &in->sin_addr) == 1;
  }
  if (family != AF_INET6) return false;
  auto* in6 = reinterpret_cast<sockaddr_in6*>(out);
  in6->sin6_family = AF_INET6;
  std::string address(text);
  size_t percent = address.find('%');
  if (percent != std::string::npos) {
    char* end = nullptr;
    unsigned long scope = std::strtoul(address.c_str() + percent + 1, &end, 10);
    if (percent + 1 == address.size() || *end != 0) return false;
    in6->sin6_scope_id = static_cast<uint32_t>(scope);
    address.resize(percent);
  }
  return inet_pton(AF_INET6, address.c_str(), &in6->sin6_addr) == 1;
}

void Invoke(Ref* target, Kind kind, const Callbacks& cb, const Reply& r) {
  DNSServiceRef h = Handle(target);
  static const unsigned char kNoBytes[1] = {0};
  switch (kind) {
    case Kind::Browse:
      cb.browse(h, r.flags, r.interfaceIndex, r.error, CStr(r.a), CStr(r.b), CStr(r.c), cb.context);
      break;
    case Kind::Resolve:
      cb.resolve(h, r.flags, r.interfaceIndex, r.error, CStr(r.a), CStr(r.b), r.portNetworkOrder,
                 static_cast<uint16_t>(r.hasTxt ? r.txt.size() : 0),
                 r.hasTxt ? (r.txt.empty() ? kNoBytes : r.txt.data()) : nullptr, cb.context);
      break;
    case Kind::AddrInfo:
      cb.addrInfo(h, r.flags, r.interfaceIndex, r.error, CStr(r.a),
                  r.hasAddress ? reinterpret_cast<const sockaddr*>(&r.address) : nullptr, r.ttl,
                  cb.context);
      break;
    case Kind::Register:
      if (cb.registered)
        cb.registered(h, r.flags, r.error, CStr(r.a), CStr(r.b), CStr(r.c), cb.context);
      break;
    case Kind::Connection:
      break;
  }
}

// Runs body; nothing thrown leaves the C interface.
template <typename R, typename F>
R Guard(R onThrow, F&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return onThrow;
  }
}

void CountCall(const char* function) noexcept {
  Guard<int>(0, [&] {
    State& g = G();
    Lock lock(g.mu);
    return ++g.calls[function];
  });
}

// Counts the call; the error it was scripted to fail with, or NoError.
DNSServiceErrorType CountFallibleCall(const char* function) noexcept {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&] {
    State& g = G();
    Lock lock(g.mu);
    ++g.calls[function];
    DNSServiceErrorType error = kDNSServiceErr_NoError;
    TakeFailure(g, function, &error);
    return error;
  });
}

Reply ResolveReply(DNSServiceFlags flags, uint32_t interfaceIndex, DNSServiceErrorType error,
                   const char* fullname, const char* hosttarget, uint16_t port, const void* txt,
                   uint16_t txtLen) {
  Reply r;
  r.flags = flags;
  r.interfaceIndex = interfaceIndex;
  r.error = error;
  r.a = TextOf(fullname);
  r.b = TextOf(hosttarget);
  r.portNetworkOrder = htons(port);
  r.hasTxt = txt != nullptr;
  if (txt)
    r.txt.assign(static_cast<const unsigned char*>(txt),
                 static_cast<const unsigned char*>(txt) + txtLen);
  return r;
}

}  // namespace

// ---- the public client functions

extern "C" {

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceCreateConnection(DNSServiceRef* sdRef) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    State& g = G();
    Lock lock(g.mu);
    Record(g, kCreateConnection);
    DNSServiceErrorType error;
    if (g.connectionFailures > 0) {
      --g.connectionFailures;
      return g.connectionError;
    }
    if (TakeFailure(g, kCreateConnection, &error)) return error;
    if (!sdRef) return kDNSServiceErr_BadParam;
    Ref* ref = nullptr;
    return MakeRef(g, sdRef, 0, Kind::Connection, &ref);
  });
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceBrowse(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* regtype,
    const char* domain, DNSServiceBrowseReply callBack, void* context) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    State& g = G();
    Lock lock(g.mu);
    scripted_call_args& a =
        RecordRefCall(g, kBrowse, sdRef, flags, interfaceIndex, callBack != nullptr);
    Put(a.regtype, &a.has_regtype, regtype);
    Put(a.domain, &a.has_domain, domain);
    DNSServiceErrorType error;
    if (TakeFailure(g, kBrowse, &error)) return error;
    if (!sdRef || !regtype || !callBack) return kDNSServiceErr_BadParam;
    Ref* ref = nullptr;
    error = MakeRef(g, sdRef, flags, Kind::Browse, &ref);
    if (error) return error;
    ref->callbacks.browse = callBack;
    ref->callbacks.context = context;
    ref->regtype = TextOf(regtype);
    ref->domain = TextOf(domain);
    return kDNSServiceErr_NoError;
  });
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceResolve(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, DNSServiceResolveReply callBack, void* context) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    State& g = G();
    Lock lock(g.mu);
    scripted_call_args& a =
        RecordRefCall(g, kResolve, sdRef, flags, interfaceIndex, callBack != nullptr);
    Put(a.name, &a.has_name, name);
    Put(a.regtype, &a.has_regtype, regtype);
    Put(a.domain, &a.has_domain, domain);
    DNSServiceErrorType error;
    if (TakeFailure(g, kResolve, &error)) return error;
    if (!sdRef || !name || !regtype || !domain || !callBack) return kDNSServiceErr_BadParam;
    Ref* ref = nullptr;
    error = MakeRef(g, sdRef, flags, Kind::Resolve, &ref);
    if (error) return error;
    ref->callbacks.resolve = callBack;
    ref->callbacks.context = context;
    ref->name = TextOf(name);
    ref->regtype = TextOf(regtype);
    ref->domain = TextOf(domain);
    return kDNSServiceErr_NoError;
  });
}

#ifndef SCRIPTED_DNSSD_PARTIAL
SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API
DNSServiceGetAddrInfo(DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                      DNSServiceProtocol protocol, const char* hostname,
                      DNSServiceGetAddrInfoReply callBack, void* context) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    State& g = G();
    Lock lock(g.mu);
    scripted_call_args& a =
        RecordRefCall(g, kGetAddrInfo, sdRef, flags, interfaceIndex, callBack != nullptr);
    a.protocol = protocol;
    Put(a.hostname, &a.has_hostname, hostname);
    DNSServiceErrorType error;
    if (TakeFailure(g, kGetAddrInfo, &error)) return error;
    if (!sdRef || !hostname || !callBack) return kDNSServiceErr_BadParam;
    Ref* ref = nullptr;
    error = MakeRef(g, sdRef, flags, Kind::AddrInfo, &ref);
    if (error) return error;
    ref->callbacks.addrInfo = callBack;
    ref->callbacks.context = context;
    ref->name = TextOf(hostname);
    return kDNSServiceErr_NoError;
  });
}
#endif

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceRegister(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, const char* host, uint16_t port, uint16_t txtLen,
    const void* txtRecord, DNSServiceRegisterReply callBack, void* context) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    State& g = G();
    Lock lock(g.mu);
    scripted_call_args& a =
        RecordRefCall(g, kRegister, sdRef, flags, interfaceIndex, callBack != nullptr);
    Put(a.name, &a.has_name, name);
    Put(a.regtype, &a.has_regtype, regtype);
    Put(a.domain, &a.has_domain, domain);
    Put(a.host, &a.has_host, host);
    a.port = ntohs(port);
    a.has_txt = txtRecord != nullptr;
    a.txt_len = txtLen;
    if (txtRecord) std::memcpy(a.txt, txtRecord, txtLen);
    DNSServiceErrorType error;
    if (g.registerFailures > 0) {
      --g.registerFailures;
      return g.registerError;
    }
    if (TakeFailure(g, kRegister, &error)) return error;
    if (!sdRef || !regtype) return kDNSServiceErr_BadParam;
    Ref* ref = nullptr;
    error = MakeRef(g, sdRef, flags, Kind::Register, &ref);
    if (error) return error;
    ref->callbacks.registered = callBack;  // may be null: then nobody hears back
    ref->callbacks.context = context;
    ref->name = TextOf(name);
    ref->regtype = TextOf(regtype);
    ref->domain = TextOf(domain);
    return kDNSServiceErr_NoError;
  });
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceProcessResult(DNSServiceRef sdRef) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_Unknown, [&]() -> DNSServiceErrorType {
    State& g = G();
    int fd = -1;
    {
      Lock lock(g.mu);
      Record(g, kProcessResult);
      Ref* ref = Find(g, sdRef);
      if (!ref || ref->primary != ref) return kDNSServiceErr_BadReference;
      DNSServiceErrorType error;
      if (TakeFailure(g, kProcessResult, &error)) return error;
      fd = ref->clientFd;
    }
    // Blocks like the real thing when nothing is there; the layer polls first.
    unsigned char wake;
    ssize_t n;
    do {
      n = read(fd, &wake, 1);
    } while (n < 0 && errno == EINTR);
    if (n == 0) return kDNSServiceErr_ServiceNotRunning;
    if (n < 0)
      return (errno == EAGAIN || errno == EWOULDBLOCK) ? kDNSServiceErr_NoError
                                                       : kDNSServiceErr_Unknown;
    Reply reply;
    Ref* target = nullptr;
    Kind kind = Kind::Connection;
    Callbacks callbacks;
    {
      Lock lock(g.mu);
      Ref* ref = Find(g, sdRef);
      if (!ref || ref->queue.empty()) return kDNSServiceErr_NoError;
      reply = std::move(ref->queue.front());
      ref->queue.pop_front();
      target = FindId(g, reply.target);
      if (!target) {  // deallocated since: the reply goes nowhere
        Delivered(g, 1);
        return kDNSServiceErr_NoError;
      }
      kind = target->kind;
      callbacks = target->callbacks;
    }
    DNSServiceErrorType result = kDNSServiceErr_NoError;
    try {
      Invoke(target, kind, callbacks, reply);
    } catch (...) {
      result = kDNSServiceErr_Unknown;
    }
    Lock lock(g.mu);
    Delivered(g, 1);
    return result;
  });
}

SCRIPTED_EXPORT void DNSSD_API DNSServiceRefDeallocate(DNSServiceRef sdRef) {
  Guard<int>(0, [&] {
    State& g = G();
    Lock lock(g.mu);
    Record(g, kRefDeallocate);
    if (Ref* ref = Find(g, sdRef)) RemoveRef(g, ref);
    return 0;
  });
}

SCRIPTED_EXPORT int DNSSD_API DNSServiceRefSockFD(DNSServiceRef sdRef) {
  return Guard<int>(-1, [&] {
    State& g = G();
    Lock lock(g.mu);
    Record(g, kRefSockFD);
    DNSServiceErrorType error;
    if (TakeFailure(g, kRefSockFD, &error)) return -1;
    Ref* ref = Find(g, sdRef);
    return ref && ref->primary == ref ? ref->clientFd : -1;
  });
}

// "<service>.<regtype>.<domain>." with dots and backslashes of the service
// escaped; a null service gives "<regtype>.<domain>.".
SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API DNSServiceConstructFullName(char* fullName,
                                                                          const char* service,
                                                                          const char* regtype,
                                                                          const char* domain) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    {
      State& g = G();
      Lock lock(g.mu);
      scripted_call_args& a = Record(g, kConstructFullName);
      Put(a.name, &a.has_name, service);
      Put(a.regtype, &a.has_regtype, regtype);
      Put(a.domain, &a.has_domain, domain);
      DNSServiceErrorType error;
      if (TakeFailure(g, kConstructFullName, &error)) return error;
    }
    if (!fullName) return kDNSServiceErr_BadParam;
    fullName[0] = 0;
    if (!regtype || !*regtype || !domain) return kDNSServiceErr_BadParam;
    std::string out;
    if (service) {
      for (const char* c = service; *c; ++c) {
        if (*c == '.' || *c == '\\') out += '\\';
        out += *c;
      }
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
  });
}

// ---- TXT records: counted, then handed to the shared implementation

SCRIPTED_EXPORT void DNSSD_API TXTRecordCreate(TXTRecordRef* txtRecord, uint16_t bufferLen,
                                               void* buffer) {
  CountCall("TXTRecordCreate");
  mdns_txt::Create(txtRecord, bufferLen, buffer);
}

SCRIPTED_EXPORT void DNSSD_API TXTRecordDeallocate(TXTRecordRef* txtRecord) {
  CountCall("TXTRecordDeallocate");
  mdns_txt::Deallocate(txtRecord);
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API TXTRecordSetValue(TXTRecordRef* txtRecord,
                                                                const char* key, uint8_t valueSize,
                                                                const void* value) {
  DNSServiceErrorType error = CountFallibleCall("TXTRecordSetValue");
  return error ? error : mdns_txt::SetValue(txtRecord, key, valueSize, value);
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API TXTRecordRemoveValue(TXTRecordRef* txtRecord,
                                                                   const char* key) {
  DNSServiceErrorType error = CountFallibleCall("TXTRecordRemoveValue");
  return error ? error : mdns_txt::RemoveValue(txtRecord, key);
}

SCRIPTED_EXPORT uint16_t DNSSD_API TXTRecordGetLength(const TXTRecordRef* txtRecord) {
  CountCall("TXTRecordGetLength");
  return mdns_txt::GetLength(txtRecord);
}

SCRIPTED_EXPORT const void* DNSSD_API TXTRecordGetBytesPtr(const TXTRecordRef* txtRecord) {
  CountCall("TXTRecordGetBytesPtr");
  return mdns_txt::GetBytesPtr(txtRecord);
}

SCRIPTED_EXPORT int DNSSD_API TXTRecordContainsKey(uint16_t txtLen, const void* txtRecord,
                                                   const char* key) {
  CountCall("TXTRecordContainsKey");
  return mdns_txt::ContainsKey(txtLen, txtRecord, key);
}

SCRIPTED_EXPORT const void* DNSSD_API TXTRecordGetValuePtr(uint16_t txtLen, const void* txtRecord,
                                                           const char* key, uint8_t* valueLen) {
  CountCall("TXTRecordGetValuePtr");
  return mdns_txt::GetValuePtr(txtLen, txtRecord, key, valueLen);
}

SCRIPTED_EXPORT uint16_t DNSSD_API TXTRecordGetCount(uint16_t txtLen, const void* txtRecord) {
  CountCall("TXTRecordGetCount");
  return mdns_txt::GetCount(txtLen, txtRecord);
}

SCRIPTED_EXPORT DNSServiceErrorType DNSSD_API
TXTRecordGetItemAtIndex(uint16_t txtLen, const void* txtRecord, uint16_t itemIndex,
                        uint16_t keyBufLen, char* key, uint8_t* valueLen, const void** value) {
  DNSServiceErrorType error = CountFallibleCall("TXTRecordGetItemAtIndex");
  return error ? error
               : mdns_txt::GetItemAtIndex(txtLen, txtRecord, itemIndex, keyBufLen, key, valueLen,
                                          value);
}

// ---- control

void scripted_reset(void) {
  Guard<int>(0, [] {
    State& g = G();
    Lock lock(g.mu);
    g.refs.clear();
    g.pending = 0;
    g.idle.notify_all();
    g.calls.clear();
    g.lastCall.clear();
    g.failNext.clear();
    g.connectionFailures = 0;
    g.registerFailures = 0;
    return 0;
  });
}

void scripted_fail_create_connection(DNSServiceErrorType error, int count) {
  State& g = G();
  Lock lock(g.mu);
  g.connectionError = error;
  g.connectionFailures = count;
}

void scripted_fail_register(DNSServiceErrorType error, int count) {
  State& g = G();
  Lock lock(g.mu);
  g.registerError = error;
  g.registerFailures = count;
}

int scripted_fail_next(const char* function, DNSServiceErrorType error) {
  return Guard<int>(-1, [&] {
    for (const char* name : kFallible) {
      if (function && std::strcmp(name, function) == 0) {
        State& g = G();
        Lock lock(g.mu);
        g.failNext[name] = error;
        return 0;
      }
    }
    return -1;
  });
}

DNSServiceRef scripted_find_ref(const char* function, const char* name) {
  Kind kind;
  if (!KindOf(function, &kind)) return nullptr;
  State& g = G();
  Lock lock(g.mu);
  return Handle(MostRecent(g, kind, name));
}

DNSServiceErrorType scripted_queue_browse_reply(DNSServiceRef target, DNSServiceFlags flags,
                                                uint32_t interfaceIndex, DNSServiceErrorType error,
                                                const char* name, const char* regtype,
                                                const char* domain) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&] {
    Reply r;
    r.flags = flags;
    r.interfaceIndex = interfaceIndex;
    r.error = error;
    r.a = TextOf(name);
    r.b = TextOf(regtype);
    r.c = TextOf(domain);
    return Enqueue(target, Kind::Browse, std::move(r));
  });
}

DNSServiceErrorType scripted_queue_resolve_reply(DNSServiceRef target, DNSServiceFlags flags,
                                                 uint32_t interfaceIndex, DNSServiceErrorType error,
                                                 const char* fullname, const char* hosttarget,
                                                 uint16_t port, const void* txt, uint16_t txtLen) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&] {
    return Enqueue(
        target, Kind::Resolve,
        ResolveReply(flags, interfaceIndex, error, fullname, hosttarget, port, txt, txtLen));
  });
}

DNSServiceErrorType scripted_queue_resolve_reply_for(
    const char* name, const char* regtype, const char* domain, DNSServiceFlags flags,
    uint32_t interfaceIndex, DNSServiceErrorType error, const char* fullname,
    const char* hosttarget, uint16_t port, const void* txt, uint16_t txtLen) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    if (!name) return kDNSServiceErr_BadParam;
    Reply r = ResolveReply(flags, interfaceIndex, error, fullname, hosttarget, port, txt, txtLen);
    auto matches = [](const Text& passed, const char* wanted) {
      return !wanted || !*wanted || SameName(*passed, wanted, true);
    };
    State& g = G();
    Lock lock(g.mu);
    for (auto it = g.refs.rbegin(); it != g.refs.rend(); ++it) {
      Ref* ref = it->get();
      if (ref->kind == Kind::Resolve && SameName(*ref->name, name, false) &&
          matches(ref->regtype, regtype) && matches(ref->domain, domain))
        return EnqueueLocked(g, ref, Kind::Resolve, std::move(r));
    }
    return kDNSServiceErr_BadReference;
  });
}

DNSServiceErrorType scripted_queue_addr_reply(DNSServiceRef target, DNSServiceFlags flags,
                                              uint32_t interfaceIndex, DNSServiceErrorType error,
                                              const char* hostname, int family, const char* address,
                                              uint32_t ttl) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&]() -> DNSServiceErrorType {
    Reply r;
    r.flags = flags;
    r.interfaceIndex = interfaceIndex;
    r.error = error;
    r.a = TextOf(hostname);
    r.ttl = ttl;
    r.hasAddress = address != nullptr;
    if (address && !ParseAddress(family, address, &r.address)) return kDNSServiceErr_BadParam;
    return Enqueue(target, Kind::AddrInfo, std::move(r));
  });
}

DNSServiceErrorType scripted_queue_register_reply(DNSServiceRef target, DNSServiceFlags flags,
                                                  DNSServiceErrorType error, const char* name,
                                                  const char* regtype, const char* domain) {
  return Guard<DNSServiceErrorType>(kDNSServiceErr_NoMemory, [&] {
    Reply r;
    r.flags = flags;
    r.error = error;
    r.a = TextOf(name);
    r.b = TextOf(regtype);
    r.c = TextOf(domain);
    return Enqueue(target, Kind::Register, std::move(r));
  });
}

DNSServiceErrorType scripted_close_daemon_side(DNSServiceRef ref) {
  State& g = G();
  Lock lock(g.mu);
  if (!ref) {
    for (auto& r : g.refs) r->CloseDaemonSide();
    return kDNSServiceErr_NoError;
  }
  Ref* found = Find(g, ref);
  if (!found) return kDNSServiceErr_BadReference;
  found->primary->CloseDaemonSide();
  return kDNSServiceErr_NoError;
}

int scripted_calls(const char* function) {
  if (!function) return 0;
  return Guard<int>(0, [&] {
    State& g = G();
    Lock lock(g.mu);
    auto it = g.calls.find(function);
    return it == g.calls.end() ? 0 : it->second;
  });
}

int scripted_last_call(const char* function, scripted_call_args* out) {
  if (!function || !out) return -1;
  return Guard<int>(-1, [&] {
    State& g = G();
    Lock lock(g.mu);
    auto it = g.lastCall.find(function);
    if (it == g.lastCall.end()) return -1;
    std::memcpy(out, it->second.get(), sizeof *out);
    return 0;
  });
}

int scripted_live_refs(void) {
  State& g = G();
  Lock lock(g.mu);
  return static_cast<int>(g.refs.size());
}

int scripted_live_refs_of(const char* function) {
  Kind kind;
  if (!KindOf(function, &kind)) return 0;
  State& g = G();
  Lock lock(g.mu);
  return static_cast<int>(
      std::count_if(g.refs.begin(), g.refs.end(),
                    [kind](const std::unique_ptr<Ref>& r) { return r->kind == kind; }));
}

int scripted_pending_replies(void) {
  State& g = G();
  Lock lock(g.mu);
  return g.pending;
}

int scripted_wait_idle(int timeoutMs) {
  State& g = G();
  std::unique_lock<std::mutex> lock(g.mu);
  return g.idle.wait_for(lock, std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs),
                         [&g] { return g.pending == 0; })
             ? 1
             : 0;
}

}  // extern "C"

// The exports have exactly the public signatures the layer looks them up by.
static_assert(
    std::is_same<decltype(&DNSServiceCreateConnection), DNSServiceCreateConnectionFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceBrowse), DNSServiceBrowseFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceResolve), DNSServiceResolveFn>::value, "");
#ifndef SCRIPTED_DNSSD_PARTIAL
static_assert(std::is_same<decltype(&DNSServiceGetAddrInfo), DNSServiceGetAddrInfoFn>::value, "");
#endif
static_assert(std::is_same<decltype(&DNSServiceRegister), DNSServiceRegisterFn>::value, "");
static_assert(std::is_same<decltype(&DNSServiceProcessResult), DNSServiceProcessResultFn>::value,
              "");
static_assert(std::is_same<decltype(&DNSServiceRefDeallocate), DNSServiceRefDeallocateFn>::value,
              "");
static_assert(std::is_same<decltype(&DNSServiceRefSockFD), DNSServiceRefSockFDFn>::value, "");
static_assert(
    std::is_same<decltype(&DNSServiceConstructFullName), DNSServiceConstructFullNameFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordCreate), TXTRecordCreateFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordDeallocate), TXTRecordDeallocateFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordSetValue), TXTRecordSetValueFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordGetLength), TXTRecordGetLengthFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordGetBytesPtr), TXTRecordGetBytesPtrFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordGetCount), TXTRecordGetCountFn>::value, "");
static_assert(std::is_same<decltype(&TXTRecordGetItemAtIndex), TXTRecordGetItemAtIndexFn>::value,
              "");
