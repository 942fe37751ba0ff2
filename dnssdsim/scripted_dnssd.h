// The scripted DNS-SD client library: a stand-in for the system's client
// library that the tests load in its place. It exports the public DNSService*
// and TXTRecord* functions; nothing talks to a daemon. Each primary reference
// owns a socket pair whose far ("daemon") end belongs to this library: a test
// queues a reply, one byte is written to the daemon end, and the next
// DNSServiceProcessResult on that connection reads the byte and invokes the
// reply's callback on the calling thread, with the flags exactly as queued.
//
// The control functions below are for tests only. Tests find them with dlsym
// on the handle that loaded the library, hence the function pointer types.
// Functions are named as exported, e.g. "DNSServiceBrowse".
#pragma once

#include <stdint.h>

#include "bonjour/dnssd_types.h"

#define SCRIPTED_DNSSD_API __attribute__((visibility("default")))

extern "C" {

// The arguments of the most recent call of one function. A string argument
// passed as null has its has_* member 0 (and an empty text); an empty string
// has it 1. Texts longer than the arrays are cut.
typedef struct scripted_call_args {
  DNSServiceFlags flags;
  uint32_t interface_index;
  DNSServiceRef connection;  // the primary passed in *sdRef with ShareConnection, else null
  int has_callback;
  DNSServiceProtocol protocol;  // DNSServiceGetAddrInfo
  uint16_t port;                // DNSServiceRegister, in host order
  int has_name, has_regtype, has_domain, has_host, has_hostname, has_txt;
  char name[kDNSServiceMaxDomainName];  // DNSServiceResolve/Register, ConstructFullName's service
  char regtype[kDNSServiceMaxDomainName];
  char domain[kDNSServiceMaxDomainName];
  char host[kDNSServiceMaxDomainName];      // DNSServiceRegister
  char hostname[kDNSServiceMaxDomainName];  // DNSServiceGetAddrInfo
  uint16_t txt_len;                         // DNSServiceRegister
  unsigned char txt[65535];
} scripted_call_args;

// Forgets everything: references (their sockets are closed; call it only
// when no reference is in use), queued replies, failures, counters, arguments.
SCRIPTED_DNSSD_API void scripted_reset(void);

// The next `count` calls of DNSServiceCreateConnection (of DNSServiceRegister)
// return `error`, later ones succeed.
SCRIPTED_DNSSD_API void scripted_fail_create_connection(DNSServiceErrorType error, int count);
SCRIPTED_DNSSD_API void scripted_fail_register(DNSServiceErrorType error, int count);
// The next call of `function` returns `error` (DNSServiceRefSockFD: -1).
// DNSServiceProcessResult fails without reading anything. Any function that
// returns an error code or a socket may be named; -1 for any other name.
SCRIPTED_DNSSD_API int scripted_fail_next(const char* function, DNSServiceErrorType error);

// The most recent live reference made by `function` ("DNSServiceBrowse",
// "DNSServiceCreateConnection", ...) whose main name matches `name` (browse:
// regtype, resolve and register: name, address look-up: hostname; case
// ignored, and a trailing dot of regtype and hostname), or of any name when
// `name` is null. Null when there is none.
SCRIPTED_DNSSD_API DNSServiceRef scripted_find_ref(const char* function, const char* name);

// Queue a reply. `target` null means the most recent live reference of the
// matching kind. Ports are given in host order. Null strings are delivered as
// null. Returns kDNSServiceErr_NoError, kDNSServiceErr_BadReference (no such
// live target, or one of another kind), kDNSServiceErr_ServiceNotRunning (the
// daemon side was closed) or kDNSServiceErr_BadParam (address text).
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_queue_browse_reply(
    DNSServiceRef target, DNSServiceFlags flags, uint32_t interfaceIndex, DNSServiceErrorType error,
    const char* name, const char* regtype, const char* domain);
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_queue_resolve_reply(
    DNSServiceRef target, DNSServiceFlags flags, uint32_t interfaceIndex, DNSServiceErrorType error,
    const char* fullname, const char* hosttarget, uint16_t port, const void* txt, uint16_t txtLen);
// To the most recent live resolve of (name, regtype, domain): case ignored,
// a trailing dot of regtype and domain too; a null or empty regtype or domain
// matches any.
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_queue_resolve_reply_for(
    const char* name, const char* regtype, const char* domain, DNSServiceFlags flags,
    uint32_t interfaceIndex, DNSServiceErrorType error, const char* fullname,
    const char* hosttarget, uint16_t port, const void* txt, uint16_t txtLen);
// `family` AF_INET or AF_INET6; `address` in text form ("fe80::1%2" sets the
// scope); a null address is delivered as a null sockaddr.
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_queue_addr_reply(
    DNSServiceRef target, DNSServiceFlags flags, uint32_t interfaceIndex, DNSServiceErrorType error,
    const char* hostname, int family, const char* address, uint32_t ttl);
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_queue_register_reply(
    DNSServiceRef target, DNSServiceFlags flags, DNSServiceErrorType error, const char* name,
    const char* regtype, const char* domain);

// Closes the daemon end of ref's connection (ref may be a subordinate), or of
// every connection when ref is null: the client end then reads the bytes still
// queued, then end of file. kDNSServiceErr_BadReference for an unknown ref.
SCRIPTED_DNSSD_API DNSServiceErrorType scripted_close_daemon_side(DNSServiceRef ref);

// Calls of `function` since the last reset (failed calls included).
SCRIPTED_DNSSD_API int scripted_calls(const char* function);
// Copies the arguments of the last call of `function`: 0, or -1 when it was
// not called since the last reset.
SCRIPTED_DNSSD_API int scripted_last_call(const char* function, scripted_call_args* out);
// Live references: all of them, or those made by `function`.
SCRIPTED_DNSSD_API int scripted_live_refs(void);
SCRIPTED_DNSSD_API int scripted_live_refs_of(const char* function);
// Replies queued and not yet delivered (or dropped with their connection).
SCRIPTED_DNSSD_API int scripted_pending_replies(void);
// Waits until every queued reply was delivered and its callback returned:
// 1, or 0 after timeoutMs milliseconds.
SCRIPTED_DNSSD_API int scripted_wait_idle(int timeoutMs);

typedef void (*scripted_reset_fn)(void);
typedef void (*scripted_fail_count_fn)(DNSServiceErrorType, int);
typedef int (*scripted_fail_next_fn)(const char*, DNSServiceErrorType);
typedef DNSServiceRef (*scripted_find_ref_fn)(const char*, const char*);
typedef DNSServiceErrorType (*scripted_queue_browse_reply_fn)(DNSServiceRef, DNSServiceFlags,
                                                              uint32_t, DNSServiceErrorType,
                                                              const char*, const char*,
                                                              const char*);
typedef DNSServiceErrorType (*scripted_queue_resolve_reply_fn)(DNSServiceRef, DNSServiceFlags,
                                                               uint32_t, DNSServiceErrorType,
                                                               const char*, const char*, uint16_t,
                                                               const void*, uint16_t);
typedef DNSServiceErrorType (*scripted_queue_resolve_reply_for_fn)(const char*, const char*,
                                                                   const char*, DNSServiceFlags,
                                                                   uint32_t, DNSServiceErrorType,
                                                                   const char*, const char*,
                                                                   uint16_t, const void*, uint16_t);
typedef DNSServiceErrorType (*scripted_queue_addr_reply_fn)(DNSServiceRef, DNSServiceFlags,
                                                            uint32_t, DNSServiceErrorType,
                                                            const char*, int, const char*,
                                                            uint32_t);
typedef DNSServiceErrorType (*scripted_queue_register_reply_fn)(DNSServiceRef, DNSServiceFlags,
                                                                DNSServiceErrorType, const char*,
                                                                const char*, const char*);
typedef DNSServiceErrorType (*scripted_close_daemon_side_fn)(DNSServiceRef);
typedef int (*scripted_calls_fn)(const char*);
typedef int (*scripted_last_call_fn)(const char*, scripted_call_args*);
typedef int (*scripted_count_fn)(void);
typedef int (*scripted_live_refs_of_fn)(const char*);
typedef int (*scripted_wait_idle_fn)(int);

}  // extern "C"
