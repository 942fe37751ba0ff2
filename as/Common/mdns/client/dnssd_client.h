// The public DNS-SD client functions that libmdnsclient.so exports, with C
// linkage. dnssd_types.h has only their function types (the DNS-SD layer
// looks them up at run time); the library and its tests use these
// declarations, and the library checks them against those types.
#pragma once

#include "bonjour/dnssd_types.h"

#define MDNSCLIENT_EXPORT __attribute__((visibility("default")))

extern "C" {

MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceCreateConnection(DNSServiceRef* sdRef);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceBrowse(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* regtype,
    const char* domain, DNSServiceBrowseReply callBack, void* context);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceResolve(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, DNSServiceResolveReply callBack, void* context);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceGetAddrInfo(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex,
    DNSServiceProtocol protocol, const char* hostname, DNSServiceGetAddrInfoReply callBack,
    void* context);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceRegister(
    DNSServiceRef* sdRef, DNSServiceFlags flags, uint32_t interfaceIndex, const char* name,
    const char* regtype, const char* domain, const char* host, uint16_t port, uint16_t txtLen,
    const void* txtRecord, DNSServiceRegisterReply callBack, void* context);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceProcessResult(DNSServiceRef sdRef);
MDNSCLIENT_EXPORT int DNSSD_API DNSServiceRefSockFD(DNSServiceRef sdRef);
MDNSCLIENT_EXPORT void DNSSD_API DNSServiceRefDeallocate(DNSServiceRef sdRef);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API DNSServiceConstructFullName(char* fullName,
                                                                            const char* service,
                                                                            const char* regtype,
                                                                            const char* domain);

MDNSCLIENT_EXPORT void DNSSD_API TXTRecordCreate(TXTRecordRef* txtRecord, uint16_t bufferLen,
                                                 void* buffer);
MDNSCLIENT_EXPORT void DNSSD_API TXTRecordDeallocate(TXTRecordRef* txtRecord);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API TXTRecordSetValue(TXTRecordRef* txtRecord,
                                                                  const char* key,
                                                                  uint8_t valueSize,
                                                                  const void* value);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API TXTRecordRemoveValue(TXTRecordRef* txtRecord,
                                                                     const char* key);
MDNSCLIENT_EXPORT uint16_t DNSSD_API TXTRecordGetLength(const TXTRecordRef* txtRecord);
MDNSCLIENT_EXPORT const void* DNSSD_API TXTRecordGetBytesPtr(const TXTRecordRef* txtRecord);
MDNSCLIENT_EXPORT int DNSSD_API TXTRecordContainsKey(uint16_t txtLen, const void* txtRecord,
                                                     const char* key);
MDNSCLIENT_EXPORT const void* DNSSD_API TXTRecordGetValuePtr(uint16_t txtLen,
                                                             const void* txtRecord,
                                                             const char* key,
                                                             uint8_t* valueLen);
MDNSCLIENT_EXPORT uint16_t DNSSD_API TXTRecordGetCount(uint16_t txtLen, const void* txtRecord);
MDNSCLIENT_EXPORT DNSServiceErrorType DNSSD_API TXTRecordGetItemAtIndex(
    uint16_t txtLen, const void* txtRecord, uint16_t itemIndex, uint16_t keyBufLen, char* key,
    uint8_t* valueLen, const void** value);

}  // extern "C"
