// Socket addresses as text, the same on every platform.
#if defined(_WIN32)
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

#include <string>

#include "Platform/Platform.h"

namespace platform {

std::string AddressText(const struct sockaddr* address, bool* ipv4) {
  if (ipv4) *ipv4 = true;
  if (!address) return std::string();
  char text[256] = {};
  if (address->sa_family == AF_INET) {
    const auto* in = reinterpret_cast<const sockaddr_in*>(address);
    if (!inet_ntop(AF_INET, &in->sin_addr, text, sizeof text)) return std::string();
  } else if (address->sa_family == AF_INET6) {
    const auto* in6 = reinterpret_cast<const sockaddr_in6*>(address);
    if (!inet_ntop(AF_INET6, &in6->sin6_addr, text, sizeof text)) return std::string();
    if (ipv4) *ipv4 = false;
    // A link-local address is only usable with its interface: "fe80::1%eth0".
    if (in6->sin6_scope_id != 0) {
#if defined(_WIN32)
      return std::string(text) + "%" + std::to_string(in6->sin6_scope_id);
#else
      char name[IF_NAMESIZE] = {};
      const std::string zone = if_indextoname(in6->sin6_scope_id, name)
                                   ? std::string(name)
                                   : std::to_string(in6->sin6_scope_id);
      return std::string(text) + "%" + zone;
#endif
    }
  }
  return text;
}

}  // namespace platform
