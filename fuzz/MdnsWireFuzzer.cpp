// Arbitrary bytes as the responder's side of a client connection: the client
// library's frame cutter and reply dispatch take them over a socket pair, with
// one running operation of each kind, and a browse callback that deallocates
// another operation and starts a new one mid-batch.
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "client_frames.h"
#include "client_internal.h"
#include "dnssd_client.h"

namespace {

DNSServiceRef g_primary = nullptr;
DNSServiceRef g_resolve = nullptr;

struct IgnoreStatus : mdns_client::StatusSink {
  void OnStatus(uint32_t, int32_t) override {}
};

void Touch(const char* s) {
  volatile char sink = 0;
  for (; s && *s; ++s) sink = static_cast<char>(sink ^ *s);
}

void DNSSD_API OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t, DNSServiceErrorType,
                        const char* name, const char* type, const char* domain, void*) {
  Touch(name), Touch(type), Touch(domain);
  if ((flags & kDNSServiceFlagsAdd) && g_resolve) {
    mdns_client::Callbacks cb;
    cb.browse = OnBrowse;
    DNSServiceRef extra = nullptr;
    DNSServiceRefDeallocate(g_resolve);  // drops replies still queued for it
    g_resolve = nullptr;
    mdns_client::AdoptOperation(g_primary, 9, cb, &extra);
  }
}

void DNSSD_API OnResolve(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType,
                         const char* fullname, const char* host, uint16_t, uint16_t txtLen,
                         const unsigned char* txt, void*) {
  Touch(fullname), Touch(host);
  volatile unsigned sum = 0;
  for (uint16_t i = 0; i < txtLen; ++i) sum = sum + txt[i];
}

void DNSSD_API OnAddr(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType,
                      const char* host, const sockaddr* address, uint32_t, void*) {
  Touch(host);
  if (address) {
    volatile int family = address->sa_family;
    (void)family;
  }
}

void DNSSD_API OnRegister(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType, const char* name,
                          const char* type, const char* domain, void*) {
  Touch(name), Touch(type), Touch(domain);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 60000) return 0;  // stays within the socket's buffer

  // The cutter alone, fed in two parts.
  {
    IgnoreStatus statuses;
    std::deque<mdns_client::Reply> replies;
    std::vector<uint8_t> buffer(data, data + size / 2);
    if (mdns_client::CutFrames(buffer, statuses, replies)) {
      buffer.insert(buffer.end(), data + size / 2, data + size);
      mdns_client::CutFrames(buffer, statuses, replies);
    }
    for (const auto& r : replies) {
      sockaddr_storage address;
      mdns_client::ReplyAddress(r, address);
    }
  }

  // The whole library over a socket pair.
  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) return 0;
  if (mdns_client::AdoptConnection(fds[0], &g_primary) != kDNSServiceErr_NoError) {
    close(fds[1]);
    return 0;
  }
  DNSServiceRef refs[4] = {};
  mdns_client::Callbacks cb[4];
  cb[0].browse = OnBrowse;
  cb[1].resolve = OnResolve;
  cb[2].addrInfo = OnAddr;
  cb[3].registered = OnRegister;
  for (uint32_t i = 0; i < 4; ++i) mdns_client::AdoptOperation(g_primary, i + 1, cb[i], &refs[i]);
  g_resolve = refs[1];
  size_t done = 0;
  while (done < size) {
    const ssize_t n = send(fds[1], data + done, size - done, MSG_NOSIGNAL);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  shutdown(fds[1], SHUT_WR);
  for (int i = 0; i < 1000 && DNSServiceProcessResult(g_primary) == kDNSServiceErr_NoError; ++i) {
  }
  DNSServiceRefDeallocate(g_primary);  // ends the subordinates as well
  g_primary = g_resolve = nullptr;
  close(fds[1]);
  return 0;
}
