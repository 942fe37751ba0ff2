// Names and values as the responder hands them between the local protocol
// and the mDNS stack.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mdns_responder {

// "<instance>.<type>.<domain>." with '.' and '\' in the instance name
// escaped by a backslash, as the client library's full names are built.
// An empty domain means "local".
std::string FullName(const std::string& instance, const std::string& type,
                     const std::string& domain);

// The name with one trailing dot (none added to an empty name).
std::string WithDot(const std::string& name);
// The name without its trailing dot; "" for "" and ".".
std::string WithoutDot(const std::string& name);

// "lo, eth0,," -> {"lo", "eth0"}.
std::vector<std::string> SplitInterfaces(const std::string& list);

// The public DNS-SD error for an error of the mDNS stack.
int32_t ErrorFromStack(int stack_error);

}  // namespace mdns_responder
