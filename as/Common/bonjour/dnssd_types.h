// The types, constants and function signatures of the public DNS-SD client
// interface, as far as this layer uses them. The layer never links a DNS-SD
// library: it loads one at run time and finds each function by name, so only
// the signatures are needed here.
#pragma once

#include <stdint.h>

#if defined(_WIN32)
#define DNSSD_API __stdcall
#else
#define DNSSD_API
#endif

struct sockaddr;

extern "C" {

typedef struct _DNSServiceRef_t* DNSServiceRef;
typedef struct _TXTRecordRef_t {
  char PrivateData[16];
} TXTRecordRef;

typedef uint32_t DNSServiceFlags;
typedef uint32_t DNSServiceProtocol;
typedef int32_t DNSServiceErrorType;

enum {
  kDNSServiceFlagsMoreComing = 0x1,
  kDNSServiceFlagsAdd = 0x2,
  kDNSServiceFlagsShareConnection = 0x4000,
};

enum {
  kDNSServiceProtocol_IPv4 = 0x01,
  kDNSServiceProtocol_IPv6 = 0x02,
};

enum {
  kDNSServiceErr_NoError = 0,
  kDNSServiceErr_Unknown = -65537,
  kDNSServiceErr_NoSuchName = -65538,
  kDNSServiceErr_NoMemory = -65539,
  kDNSServiceErr_BadParam = -65540,
  kDNSServiceErr_BadReference = -65541,
  kDNSServiceErr_BadState = -65542,
  kDNSServiceErr_BadFlags = -65543,
  kDNSServiceErr_Unsupported = -65544,
  kDNSServiceErr_NotInitialized = -65545,
  kDNSServiceErr_AlreadyRegistered = -65547,
  kDNSServiceErr_NameConflict = -65548,
  kDNSServiceErr_Invalid = -65549,
  kDNSServiceErr_Incompatible = -65551,
  kDNSServiceErr_BadInterfaceIndex = -65552,
  kDNSServiceErr_Refused = -65553,
  kDNSServiceErr_NoSuchRecord = -65554,
  kDNSServiceErr_NoAuth = -65555,
  kDNSServiceErr_NoSuchKey = -65556,
  kDNSServiceErr_ServiceNotRunning = -65563,
};

// Buffer size for DNSServiceConstructFullName.
enum { kDNSServiceMaxDomainName = 1009 };

typedef void(DNSSD_API* DNSServiceBrowseReply)(DNSServiceRef sdRef, DNSServiceFlags flags,
                                               uint32_t interfaceIndex,
                                               DNSServiceErrorType errorCode,
                                               const char* serviceName, const char* regtype,
                                               const char* replyDomain, void* context);
typedef void(DNSSD_API* DNSServiceResolveReply)(DNSServiceRef sdRef, DNSServiceFlags flags,
                                                uint32_t interfaceIndex,
                                                DNSServiceErrorType errorCode,
                                                const char* fullname, const char* hosttarget,
                                                uint16_t port,  // network byte order
                                                uint16_t txtLen, const unsigned char* txtRecord,
                                                void* context);
typedef void(DNSSD_API* DNSServiceRegisterReply)(DNSServiceRef sdRef, DNSServiceFlags flags,
                                                 DNSServiceErrorType errorCode, const char* name,
                                                 const char* regtype, const char* domain,
                                                 void* context);
typedef void(DNSSD_API* DNSServiceGetAddrInfoReply)(DNSServiceRef sdRef, DNSServiceFlags flags,
                                                    uint32_t interfaceIndex,
                                                    DNSServiceErrorType errorCode,
                                                    const char* hostname,
                                                    const struct sockaddr* address, uint32_t ttl,
                                                    void* context);

// Function types, one per exported function.
typedef DNSServiceErrorType(DNSSD_API* DNSServiceCreateConnectionFn)(DNSServiceRef* sdRef);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceBrowseFn)(DNSServiceRef* sdRef,
                                                           DNSServiceFlags flags,
                                                           uint32_t interfaceIndex,
                                                           const char* regtype,
                                                           const char* domain,
                                                           DNSServiceBrowseReply callBack,
                                                           void* context);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceResolveFn)(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, DNSServiceResolveReply callBack, void* context);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceGetAddrInfoFn)(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex,
    DNSServiceProtocol protocol, const char* hostname, DNSServiceGetAddrInfoReply callBack,
    void* context);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceRegisterFn)(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, const char* host, uint16_t port, uint16_t txtLen,
    const void* txtRecord, DNSServiceRegisterReply callBack, void* context);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceProcessResultFn)(DNSServiceRef sdRef);
typedef void(DNSSD_API* DNSServiceRefDeallocateFn)(DNSServiceRef sdRef);
typedef int(DNSSD_API* DNSServiceRefSockFDFn)(DNSServiceRef sdRef);
typedef DNSServiceErrorType(DNSSD_API* DNSServiceConstructFullNameFn)(char* fullName,
                                                                      const char* service,
                                                                      const char* regtype,
                                                                      const char* domain);
typedef void(DNSSD_API* TXTRecordCreateFn)(TXTRecordRef* txtRecord, uint16_t bufferLen,
                                           void* buffer);
typedef void(DNSSD_API* TXTRecordDeallocateFn)(TXTRecordRef* txtRecord);
typedef DNSServiceErrorType(DNSSD_API* TXTRecordSetValueFn)(TXTRecordRef* txtRecord,
                                                            const char* key, uint8_t valueSize,
                                                            const void* value);
typedef uint16_t(DNSSD_API* TXTRecordGetLengthFn)(const TXTRecordRef* txtRecord);
typedef const void*(DNSSD_API* TXTRecordGetBytesPtrFn)(const TXTRecordRef* txtRecord);
typedef uint16_t(DNSSD_API* TXTRecordGetCountFn)(uint16_t txtLen, const void* txtRecord);
typedef DNSServiceErrorType(DNSSD_API* TXTRecordGetItemAtIndexFn)(
    uint16_t txtLen, const void* txtRecord, uint16_t itemIndex, uint16_t keyBufLen, char* key,
    uint8_t* valueLen, const void** value);

// Entry points of the own responder module.
typedef void (*dnssd_service_start_fn)();
typedef void (*dnssd_service_stop_fn)();

}  // extern "C"
