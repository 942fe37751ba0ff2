#include "dnssd_discovery.h"

#include <cstring>

#include "bonjour_log.h"
#include "dnssd_api.h"

namespace {
const char kFile[] = "as/Common/bonjour/dnssd_discovery";
constexpr DNSServiceFlags kShared = kDNSServiceFlagsShareConnection;

const char* Text(const char* s) { return s ? s : ""; }

uint16_t FromNetworkOrder(uint16_t port) {
  unsigned char bytes[2];
  std::memcpy(bytes, &port, 2);
  return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}
}  // namespace

dnssd_discovery::dnssd_discovery(cpt_bonjour_sink* sink) : sink_(sink) {
  DNSServiceRef connection = nullptr;
  const DNSServiceErrorType error = dnssd_api::instance().create_connection(&connection, &cancel_);
  if (error == kDNSServiceErr_NoError && connection) {
    ref_ = connection;
    if (!start_thread()) {
      dnssd_api::instance().ref_deallocate(connection);
      ref_ = nullptr;
    }
  } else if (connection) {
    dnssd_api::instance().ref_deallocate(connection);
  }
  bonjour_log(kFile, "dnssd_discovery::dnssd_discovery", "construct dnssd discovery, %p, %p, %d",
              static_cast<void*>(sink), static_cast<void*>(ref_.load()), error);
}

dnssd_discovery::~dnssd_discovery() {
  bonjour_log(kFile, "dnssd_discovery::~dnssd_discovery", "destruct dnssd discovery");
  cancel_.Set();
  // The thread ends before the connection goes: no reply is processed on a
  // connection that no longer exists.
  stop_thread();
  dnssd_api& api = dnssd_api::instance();
  {
    std::lock_guard<std::mutex> lock(resolve_mutex_);
    for (auto& entry : resolving_)
      if (entry.second->addr_ref) api.ref_deallocate(entry.second->addr_ref);
    resolving_.clear();
  }
  {
    std::lock_guard<std::mutex> lock(browse_mutex_);
    if (browse_ref_) api.ref_deallocate(browse_ref_);
    browse_ref_ = nullptr;
    browsed_.clear();
  }
  if (DNSServiceRef connection = ref_.exchange(nullptr)) api.ref_deallocate(connection);
}

std::string dnssd_discovery::full_name(const std::string& name, const std::string& type,
                                       const std::string& domain) {
  char buffer[1024] = {};
  if (dnssd_api::instance().construct_full_name(buffer, name.c_str(), type.c_str(),
                                                domain.c_str()) != kDNSServiceErr_NoError)
    return std::string();
  buffer[sizeof buffer - 1] = '\0';
  return buffer;
}

std::string dnssd_discovery::short_host(const std::string& hosttarget) {
  if (hosttarget.empty()) return std::string();
  const std::string trimmed = hosttarget.substr(0, hosttarget.size() - 1);
  const auto dot = trimmed.rfind('.');
  return dot == std::string::npos ? std::string() : trimmed.substr(0, dot);
}

bool dnssd_discovery::start(const std::string& type, const std::string& domain) {
  const DNSServiceRef connection = ref_;
  DNSServiceErrorType error;
  {
    std::lock_guard<std::mutex> lock(browse_mutex_);
    if (!connection || browse_ref_) return false;
    DNSServiceRef browse = connection;  // a subordinate starts as a copy of its connection
    error = dnssd_api::instance().browse(&browse, kShared, 0, type.c_str(), domain.c_str(),
                                         &dnssd_discovery::browseCallback, this);
    if (error == kDNSServiceErr_NoError) {
      browse_ref_ = browse;
      return true;
    }
  }
  bonjour_log(kFile, "dnssd_discovery::start", "error: browse service (%s, %s) failed, %d",
              type.c_str(), domain.c_str(), error);
  if (sink_) sink_->on_browse_result(error, "", type, domain, false);
  return false;
}

void dnssd_discovery::stop() {
  dnssd_api& api = dnssd_api::instance();
  {
    std::lock_guard<std::mutex> lock(browse_mutex_);
    if (!browse_ref_) return;  // running resolves are left alone
    api.ref_deallocate(browse_ref_);
    browse_ref_ = nullptr;
  }
  {
    std::lock_guard<std::mutex> lock(resolve_mutex_);
    for (auto& entry : resolving_)
      if (entry.second->addr_ref) api.ref_deallocate(entry.second->addr_ref);
    resolving_.clear();
  }
  std::lock_guard<std::mutex> lock(browse_mutex_);
  browsed_.clear();
}

void dnssd_discovery::resolve(const std::string& name, const std::string& type,
                              const std::string& domain) {
  const DNSServiceRef connection = ref_;
  if (!connection) return;
  dnssd_api& api = dnssd_api::instance();
  const std::string key = full_name(name, type, domain.empty() ? "local" : domain);
  std::lock_guard<std::mutex> lock(resolve_mutex_);
  auto& entry = resolving_[key];
  if (entry) {
    // Asked again: a new round. Host, port and TXT of earlier rounds stay.
    if (entry->addr_ref) api.ref_deallocate(entry->addr_ref);
    entry->addr_ref = nullptr;
  } else {
    entry.reset(new discovered_service);
    entry->name = name;
    entry->type = type;
    entry->domain = domain;
  }
  DNSServiceRef resolve_ref = connection;
  const DNSServiceErrorType error =
      api.resolve(&resolve_ref, kShared, 0, name.c_str(), type.c_str(), domain.c_str(),
                  &dnssd_discovery::resolveCallback, this);
  if (error == kDNSServiceErr_NoError) return;  // the callback deallocates the reference
  bonjour_log(kFile, "dnssd_discovery::resolve", "error: resolve service (%s, %s, %s) failed, %d",
              name.c_str(), type.c_str(), domain.c_str(), error);
  if (sink_) sink_->on_resolve_result(error, name, type, domain, "", "", true, 0, txt_entries());
}

void DNSSD_API dnssd_discovery::browseCallback(DNSServiceRef, DNSServiceFlags flags,
                                               uint32_t interfaceIndex,
                                               DNSServiceErrorType error, const char* name,
                                               const char* type, const char* domain,
                                               void* context) {
  bonjour_log(kFile, "dnssd_discovery::browseCallback", "browse callback: %d, %d, %d, %s, %s, %s, %p",
              static_cast<int>(flags), static_cast<int>(interfaceIndex), error, Text(name),
              Text(type), Text(domain), context);
  auto* self = static_cast<dnssd_discovery*>(context);
  if (!self || !self->ref_.load() || error != kDNSServiceErr_NoError) return;
  const std::string n = Text(name), t = Text(type), d = Text(domain);
  const std::string key = full_name(n, t, d);
  if (flags & kDNSServiceFlagsAdd) {
    bool inserted = false;
    {
      std::lock_guard<std::mutex> lock(self->browse_mutex_);
      auto& entry = self->browsed_[key];
      if (!entry) {
        entry.reset(new discovered_service);
        entry->name = n;
        entry->type = t;
        entry->domain = d;
        inserted = true;
      }
    }
    // The same instance seen again (on another interface) is not news.
    if (inserted && self->sink_) self->sink_->on_browse_result(0, n, t, d, true);
    return;
  }
  bool present;
  {
    std::lock_guard<std::mutex> lock(self->browse_mutex_);
    present = self->browsed_.erase(key) != 0;
  }
  if (!present) return;
  {
    std::lock_guard<std::mutex> lock(self->resolve_mutex_);
    auto it = self->resolving_.find(key);
    if (it != self->resolving_.end()) {
      if (it->second->addr_ref) dnssd_api::instance().ref_deallocate(it->second->addr_ref);
      self->resolving_.erase(it);
    }
  }
  if (self->sink_) self->sink_->on_browse_result(0, n, t, d, false);
}

void DNSSD_API dnssd_discovery::resolveCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                                uint32_t interfaceIndex,
                                                DNSServiceErrorType error, const char* fullname,
                                                const char* hosttarget, uint16_t port,
                                                uint16_t txtLen, const unsigned char* txtRecord,
                                                void* context) {
  bonjour_log(kFile, "dnssd_discovery::resolveCallback", "resolve callback: %d, %d, %d, %s, %s, %d, %p",
              static_cast<int>(flags), static_cast<int>(interfaceIndex), error, Text(fullname),
              Text(hosttarget), FromNetworkOrder(port), context);
  dnssd_api::instance().ref_deallocate(ref);  // one answer per resolve
  if (auto* self = static_cast<dnssd_discovery*>(context))
    self->on_service_resolve(error, flags, Text(fullname), Text(hosttarget), port, txtLen,
                             txtRecord);
}

void dnssd_discovery::on_service_resolve(DNSServiceErrorType error, DNSServiceFlags,
                                         const std::string& fullname,
                                         const std::string& hosttarget, uint16_t port,
                                         uint16_t txtLen, const unsigned char* txtRecord) {
  const DNSServiceRef connection = ref_;
  if (!connection) return;
  dnssd_api& api = dnssd_api::instance();
  std::lock_guard<std::mutex> lock(resolve_mutex_);
  auto it = resolving_.find(fullname);
  if (it == resolving_.end()) {
    bonjour_log(kFile, "dnssd_discovery::on_service_resolve", "warning! can not find %s",
                fullname.c_str());
    return;
  }
  discovered_service& service = *it->second;
  service.host = short_host(hosttarget);
  service.port = FromNetworkOrder(port);
  const uint16_t count = api.txt_count(txtLen, txtRecord);
  for (uint16_t i = 0; i < count; ++i) {
    char key[256] = {};
    uint8_t valueLength = 0;
    const void* value = nullptr;
    if (api.txt_item_at_index(txtLen, txtRecord, i, 255, key, &valueLength, &value) !=
        kDNSServiceErr_NoError)
      continue;
    service.txt[key] = value ? std::string(static_cast<const char*>(value), valueLength)
                             : std::string();
  }
  if (error == kDNSServiceErr_NoError) {
    // A second answer for the same round replaces the look-up of the first.
    if (service.addr_ref) api.ref_deallocate(service.addr_ref);
    service.addr_ref = nullptr;
    DNSServiceRef lookup = connection;
    api.get_addr_info(&lookup, kShared, 0, kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6,
                      hosttarget.c_str(), &dnssd_discovery::getAddrInfoCallback, this);
    service.addr_ref = lookup == connection ? nullptr : lookup;
    return;
  }
  if (sink_)
    sink_->on_resolve_result(error, service.name, service.type, service.domain, service.host, "",
                             false, service.port, service.txt);
}

void DNSSD_API dnssd_discovery::getAddrInfoCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                                    uint32_t interfaceIndex,
                                                    DNSServiceErrorType error,
                                                    const char* hostname,
                                                    const struct sockaddr* address, uint32_t ttl,
                                                    void* context) {
  bool ipv4 = true;
  const std::string text = platform::AddressText(address, &ipv4);
  bonjour_log(kFile, "dnssd_discovery::getAddrInfoCallback",
              "get addr callback: %d, %d, %d, %s, %s, %d, %d, %p", static_cast<int>(flags),
              static_cast<int>(interfaceIndex), error, Text(hostname), text.c_str(), ipv4 ? 1 : 0,
              static_cast<int>(ttl), context);
  if (auto* self = static_cast<dnssd_discovery*>(context))
    self->on_service_get_addinfo(error, flags, ref, Text(hostname), text, ipv4, ttl);
}

void dnssd_discovery::on_service_get_addinfo(DNSServiceErrorType error, DNSServiceFlags flags,
                                             DNSServiceRef ref, const std::string&,
                                             const std::string& address, bool ipv4, uint32_t) {
  if (error != kDNSServiceErr_NoError) return;
  std::lock_guard<std::mutex> lock(resolve_mutex_);
  auto it = resolving_.begin();
  while (it != resolving_.end() && it->second->addr_ref != ref) ++it;
  if (it == resolving_.end()) {
    bonjour_log(kFile, "dnssd_discovery::on_service_get_addinfo", "error: can get service's addinfo");
    return;
  }
  const discovered_service& s = *it->second;
  if (sink_) sink_->on_resolve_result(0, s.name, s.type, s.domain, s.host, address, ipv4, s.port, s.txt);
  if (!(flags & kDNSServiceFlagsMoreComing)) {
    // The last address of the batch ends the look-up.
    dnssd_api::instance().ref_deallocate(it->second->addr_ref);
    resolving_.erase(it);
  }
}
