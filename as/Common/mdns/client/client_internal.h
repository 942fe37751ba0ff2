// Internals of the client library that its fuzz target reaches from a
// static build; not exported from libmdnsclient.so.
#pragma once

#include <stdint.h>

#include "bonjour/dnssd_types.h"

namespace mdns_client {

// The reply function of an operation: exactly one is set, and it says the
// operation's kind.
struct Callbacks {
  DNSServiceBrowseReply browse = nullptr;
  DNSServiceResolveReply resolve = nullptr;
  DNSServiceGetAddrInfoReply addrInfo = nullptr;
  DNSServiceRegisterReply registered = nullptr;
  void* context = nullptr;
};

// Makes a primary reference on an already connected stream socket (taking
// it over) without the hello exchange, as if the responder had accepted it.
DNSServiceErrorType AdoptConnection(int socket, DNSServiceRef* sdRef);

// Adds to `primary` a subordinate with operation id `id` that the responder
// is taken to have accepted already: no request is sent, no status awaited.
DNSServiceErrorType AdoptOperation(DNSServiceRef primary, uint32_t id, const Callbacks& callbacks,
                                   DNSServiceRef* sdRef);

}  // namespace mdns_client
