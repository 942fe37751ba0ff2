#include "names.h"

#include <avahi-common/error.h>

#include <cstdio>

#include "bonjour/dnssd_types.h"

namespace mdns_responder {

std::string WithDot(const std::string& name) {
  if (name.empty() || name.back() == '.') return name;
  return name + '.';
}

std::string WithoutDot(const std::string& name) {
  if (!name.empty() && name.back() == '.') return name.substr(0, name.size() - 1);
  return name;
}

std::string FullName(const std::string& instance, const std::string& type,
                     const std::string& domain) {
  std::string out;
  out.reserve(instance.size() + type.size() + domain.size() + 8);
  // The same escapes as DNSServiceConstructFullName: "." and "\" get a
  // backslash, control bytes and DEL become "\ddd".
  for (char c : instance) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7F) {
      char esc[8];
      std::snprintf(esc, sizeof(esc), "\\%03u", static_cast<unsigned>(u));
      out += esc;
      continue;
    }
    if (c == '.' || c == '\\') out += '\\';
    out += c;
  }
  out += '.';
  out += WithDot(type);
  const std::string d = WithoutDot(domain);
  out += WithDot(d.empty() ? std::string("local") : d);
  return out;
}

std::vector<std::string> SplitInterfaces(const std::string& list) {
  std::vector<std::string> names;
  std::string current;
  auto flush = [&] {
    const auto first = current.find_first_not_of(" \t");
    if (first != std::string::npos)
      names.push_back(current.substr(first, current.find_last_not_of(" \t") - first + 1));
    current.clear();
  };
  for (char c : list) {
    if (c == ',')
      flush();
    else
      current += c;
  }
  flush();
  return names;
}

int32_t ErrorFromStack(int stack_error) {
  switch (stack_error) {
    case AVAHI_OK:
      return kDNSServiceErr_NoError;
    case AVAHI_ERR_COLLISION:
      return kDNSServiceErr_NameConflict;
    case AVAHI_ERR_NO_MEMORY:
      return kDNSServiceErr_NoMemory;
    case AVAHI_ERR_INVALID_HOST_NAME:
    case AVAHI_ERR_INVALID_DOMAIN_NAME:
    case AVAHI_ERR_INVALID_TTL:
    case AVAHI_ERR_INVALID_RECORD:
    case AVAHI_ERR_INVALID_SERVICE_NAME:
    case AVAHI_ERR_INVALID_SERVICE_TYPE:
    case AVAHI_ERR_INVALID_PORT:
    case AVAHI_ERR_INVALID_KEY:
    case AVAHI_ERR_INVALID_ADDRESS:
    case AVAHI_ERR_INVALID_INTERFACE:
    case AVAHI_ERR_INVALID_PROTOCOL:
    case AVAHI_ERR_INVALID_FLAGS:
    case AVAHI_ERR_INVALID_SERVICE_SUBTYPE:
    case AVAHI_ERR_INVALID_ARGUMENT:
      return kDNSServiceErr_BadParam;
    case AVAHI_ERR_NOT_SUPPORTED:
      return kDNSServiceErr_Unsupported;
    default:
      return kDNSServiceErr_Unknown;
  }
}

}  // namespace mdns_responder
