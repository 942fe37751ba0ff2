#include "dnssd_api.h"

#include "bonjour_log.h"
#include "bonjour_service.h"

namespace {
const char kFile[] = "as/Common/bonjour/dnssd_api";
constexpr int kRetryWaitMs = 100;
constexpr int kRetryCalls = 600;

template <class Call>
DNSServiceErrorType Retrying(Call call, platform::Event* cancel) {
  DNSServiceErrorType error = kDNSServiceErr_NoError;
  for (int calls = 1;; ++calls) {
    error = call();
    if (error == kDNSServiceErr_NoError || !cancel) break;
    if (cancel->Wait(kRetryWaitMs) || calls >= kRetryCalls) break;
  }
  return error;
}
}  // namespace

dnssd_api& dnssd_api::instance() {
  static dnssd_api api;  // made once, under the runtime's one-time initialisation
  return api;
}

dnssd_api::dnssd_api() {
  bonjour_service::instance();
  system_daemon_ = platform::SystemDaemonUsable();
  if (system_daemon_) {
    module_ = platform::LoadLibraryByName(platform::SystemClientLibraryName());
    bonjour_log(kFile, "dnssd_api::dnssd_api", "load dnssd.dll\xEF\xBC\x8C %p", module_);
  } else {
    module_ = platform::LoadLibraryFromModuleDir(platform::OwnClientLibraryName());
    bonjour_log(kFile, "dnssd_api::dnssd_api", "load mdnsclient.dll, %p", module_);
  }
}

DNSServiceErrorType dnssd_api::create_connection(DNSServiceRef* ref, platform::Event* cancel) {
  auto fn = find<DNSServiceCreateConnectionFn>("DNSServiceCreateConnection");
  if (!fn) return kDNSServiceErr_Unsupported;
  return Retrying([&] { return fn(ref); }, cancel);
}

DNSServiceErrorType dnssd_api::register_service(DNSServiceRef* ref, DNSServiceFlags flags,
                                                uint32_t interfaceIndex, const char* name,
                                                const char* regtype, const char* domain,
                                                const char* host, uint16_t port, uint16_t txtLen,
                                                const void* txtRecord,
                                                DNSServiceRegisterReply callback, void* context,
                                                platform::Event* cancel) {
  auto fn = find<DNSServiceRegisterFn>("DNSServiceRegister");
  if (!fn) return kDNSServiceErr_Unsupported;
  return Retrying(
      [&] {
        return fn(ref, flags, interfaceIndex, name, regtype, domain, host, port, txtLen,
                  txtRecord, callback, context);
      },
      cancel);
}

DNSServiceErrorType dnssd_api::browse(DNSServiceRef* ref, DNSServiceFlags flags,
                                      uint32_t interfaceIndex, const char* regtype,
                                      const char* domain, DNSServiceBrowseReply callback,
                                      void* context) {
  auto fn = find<DNSServiceBrowseFn>("DNSServiceBrowse");
  return fn ? fn(ref, flags, interfaceIndex, regtype, domain, callback, context)
            : kDNSServiceErr_Unsupported;
}

DNSServiceErrorType dnssd_api::resolve(DNSServiceRef* ref, DNSServiceFlags flags,
                                       uint32_t interfaceIndex, const char* name,
                                       const char* regtype, const char* domain,
                                       DNSServiceResolveReply callback, void* context) {
  auto fn = find<DNSServiceResolveFn>("DNSServiceResolve");
  return fn ? fn(ref, flags, interfaceIndex, name, regtype, domain, callback, context)
            : kDNSServiceErr_Unsupported;
}

DNSServiceErrorType dnssd_api::get_addr_info(DNSServiceRef* ref, DNSServiceFlags flags,
                                             uint32_t interfaceIndex, DNSServiceProtocol protocol,
                                             const char* hostname,
                                             DNSServiceGetAddrInfoReply callback, void* context) {
  auto fn = find<DNSServiceGetAddrInfoFn>("DNSServiceGetAddrInfo");
  return fn ? fn(ref, flags, interfaceIndex, protocol, hostname, callback, context)
            : kDNSServiceErr_Unsupported;
}

DNSServiceErrorType dnssd_api::construct_full_name(char* fullName, const char* service,
                                                   const char* regtype, const char* domain) {
  auto fn = find<DNSServiceConstructFullNameFn>("DNSServiceConstructFullName");
  return fn ? fn(fullName, service, regtype, domain) : kDNSServiceErr_Unsupported;
}

DNSServiceErrorType dnssd_api::process_result(DNSServiceRef ref) {
  auto fn = find<DNSServiceProcessResultFn>("DNSServiceProcessResult");
  return fn ? fn(ref) : kDNSServiceErr_Unsupported;
}

void dnssd_api::ref_deallocate(DNSServiceRef ref) {
  if (auto fn = find<DNSServiceRefDeallocateFn>("DNSServiceRefDeallocate")) fn(ref);
}

int dnssd_api::ref_sock_fd(DNSServiceRef ref) {
  auto fn = find<DNSServiceRefSockFDFn>("DNSServiceRefSockFD");
  return fn ? fn(ref) : -1;
}

void dnssd_api::txt_create(TXTRecordRef* txt) {
  if (auto fn = find<TXTRecordCreateFn>("TXTRecordCreate")) fn(txt, 0, nullptr);
}

void dnssd_api::txt_deallocate(TXTRecordRef* txt) {
  if (auto fn = find<TXTRecordDeallocateFn>("TXTRecordDeallocate")) fn(txt);
}

const void* dnssd_api::txt_bytes(const TXTRecordRef* txt) {
  auto fn = find<TXTRecordGetBytesPtrFn>("TXTRecordGetBytesPtr");
  return fn ? fn(txt) : nullptr;
}

uint16_t dnssd_api::txt_count(uint16_t txtLen, const void* txtRecord) {
  auto fn = find<TXTRecordGetCountFn>("TXTRecordGetCount");
  return fn ? fn(txtLen, txtRecord) : 0;
}

DNSServiceErrorType dnssd_api::txt_item_at_index(uint16_t txtLen, const void* txtRecord,
                                                 uint16_t index, uint16_t keyBufLen, char* key,
                                                 uint8_t* valueLen, const void** value) {
  auto fn = find<TXTRecordGetItemAtIndexFn>("TXTRecordGetItemAtIndex");
  return fn ? fn(txtLen, txtRecord, index, keyBufLen, key, valueLen, value)
            : kDNSServiceErr_Unsupported;
}

uint16_t dnssd_api::txt_length(const TXTRecordRef* txt) {
  auto fn = find<TXTRecordGetLengthFn>("TXTRecordGetLength");
  return fn ? fn(txt) : 0;
}

DNSServiceErrorType dnssd_api::txt_set_value(TXTRecordRef* txt, const char* key,
                                             uint8_t valueSize, const void* value) {
  auto fn = find<TXTRecordSetValueFn>("TXTRecordSetValue");
  return fn ? fn(txt, key, valueSize, value) : kDNSServiceErr_Unsupported;
}
