// Browses a service type, resolves instances to host, port and TXT entries,
// and looks the host's addresses up. Every operation is a subordinate of one
// shared connection, so one event thread delivers every reply.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "cpt_bonjour.h"
#include "dnssd_thread.h"

struct discovered_service {
  std::string name;
  std::string type;
  std::string domain;
  std::string host;
  uint16_t port = 0;  // host byte order, 0 until resolved
  txt_entries txt;
  DNSServiceRef addr_ref = nullptr;  // the address look-up, null when none
};

class dnssd_discovery : public dnssd_thread {
 public:
  explicit dnssd_discovery(cpt_bonjour_sink* sink);
  ~dnssd_discovery() override;

  bool start(const std::string& type, const std::string& domain);
  void stop();
  void resolve(const std::string& name, const std::string& type, const std::string& domain);
  bool connected() const { return ref_.load() != nullptr; }

  static void DNSSD_API browseCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                       uint32_t interfaceIndex, DNSServiceErrorType error,
                                       const char* name, const char* type, const char* domain,
                                       void* context);
  static void DNSSD_API resolveCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                        uint32_t interfaceIndex, DNSServiceErrorType error,
                                        const char* fullname, const char* hosttarget,
                                        uint16_t port, uint16_t txtLen,
                                        const unsigned char* txtRecord, void* context);
  static void DNSSD_API getAddrInfoCallback(DNSServiceRef ref, DNSServiceFlags flags,
                                            uint32_t interfaceIndex, DNSServiceErrorType error,
                                            const char* hostname, const struct sockaddr* address,
                                            uint32_t ttl, void* context);

  // Reply handling, on the event thread.
  void on_service_resolve(DNSServiceErrorType error, DNSServiceFlags flags,
                          const std::string& fullname, const std::string& hosttarget,
                          uint16_t port, uint16_t txtLen, const unsigned char* txtRecord);
  void on_service_get_addinfo(DNSServiceErrorType error, DNSServiceFlags flags,
                              DNSServiceRef ref, const std::string& hostname,
                              const std::string& address, bool ipv4, uint32_t ttl);

  // "<name>.<type>.<domain>." as the library builds it; empty on failure.
  static std::string full_name(const std::string& name, const std::string& type,
                               const std::string& domain);
  // The host part of a host target: "room-7.local." gives "room-7"; a
  // target of one label ("room-7.") gives "".
  static std::string short_host(const std::string& hosttarget);

 private:
  cpt_bonjour_sink* sink_;
  std::mutex browse_mutex_;  // browse_ref_ and browsed_
  DNSServiceRef browse_ref_ = nullptr;
  std::map<std::string, std::unique_ptr<discovered_service>> browsed_;
  std::mutex resolve_mutex_;  // resolving_
  std::map<std::string, std::unique_ptr<discovered_service>> resolving_;
  platform::Event cancel_{platform::Event::kAutoReset};
};
