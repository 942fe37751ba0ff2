// The DNS-SD client library, loaded at run time. One per process, made on
// first use and kept until exit. Every operation looks its function up by
// name at each call; a missing library or function gives the fallback
// result (-65544, -1, 0 or null) and calls nothing.
#pragma once

#include <cstdint>

#include "Platform/Platform.h"
#include "dnssd_types.h"

class dnssd_api {
 public:
  static dnssd_api& instance();

  // The retrying calls try again every 100 ms, waiting on `cancel`, until
  // they succeed, the event is set, or 600 calls were made. Without an event
  // they try once.
  DNSServiceErrorType create_connection(DNSServiceRef* ref, platform::Event* cancel);
  DNSServiceErrorType register_service(DNSServiceRef* ref, DNSServiceFlags flags,
                                       uint32_t interfaceIndex, const char* name,
                                       const char* regtype, const char* domain, const char* host,
                                       uint16_t port, uint16_t txtLen, const void* txtRecord,
                                       DNSServiceRegisterReply callback, void* context,
                                       platform::Event* cancel);

  DNSServiceErrorType browse(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                             const char* regtype, const char* domain,
                             DNSServiceBrowseReply callback, void* context);
  DNSServiceErrorType resolve(DNSServiceRef* ref, DNSServiceFlags flags, uint32_t interfaceIndex,
                              const char* name, const char* regtype, const char* domain,
                              DNSServiceResolveReply callback, void* context);
  DNSServiceErrorType get_addr_info(DNSServiceRef* ref, DNSServiceFlags flags,
                                    uint32_t interfaceIndex, DNSServiceProtocol protocol,
                                    const char* hostname, DNSServiceGetAddrInfoReply callback,
                                    void* context);
  DNSServiceErrorType construct_full_name(char* fullName, const char* service,
                                          const char* regtype, const char* domain);
  DNSServiceErrorType process_result(DNSServiceRef ref);
  void ref_deallocate(DNSServiceRef ref);
  int ref_sock_fd(DNSServiceRef ref);

  void txt_create(TXTRecordRef* txt);
  void txt_deallocate(TXTRecordRef* txt);
  const void* txt_bytes(const TXTRecordRef* txt);
  uint16_t txt_count(uint16_t txtLen, const void* txtRecord);
  DNSServiceErrorType txt_item_at_index(uint16_t txtLen, const void* txtRecord, uint16_t index,
                                        uint16_t keyBufLen, char* key, uint8_t* valueLen,
                                        const void** value);
  uint16_t txt_length(const TXTRecordRef* txt);
  DNSServiceErrorType txt_set_value(TXTRecordRef* txt, const char* key, uint8_t valueSize,
                                    const void* value);

  bool loaded() const { return module_ != nullptr; }
  // Whether the system's daemon was found usable when the library was chosen.
  bool uses_system_daemon() const { return system_daemon_; }

 private:
  dnssd_api();
  template <class Fn>
  Fn find(const char* name) const {
    return reinterpret_cast<Fn>(platform::GetSymbol(module_, name));
  }

  platform::LibraryHandle module_ = nullptr;
  bool system_daemon_ = false;
};
