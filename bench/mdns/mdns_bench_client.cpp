// mdns_bench_client: a long-running DNS-SD client for the mDNS benchmark
// (bench/mdns/bench_mdns.py). It talks to one responder through
// libmdnsclient's public functions only (TESSEL_MDNS_SOCKET names the
// responder's socket) and prints what happens, each line stamped with the
// monotonic clock in milliseconds (the clock of Python's time.monotonic), so
// that latencies are measured inside this process, without process or
// responder start.
//
// Commands on standard input, one a line:
//   register KEY NAME PORT          announce a room ("_tesselrooms._tcp", TXT code=KEY)
//   register-many PREFIX COUNT PORT announce PREFIX-0000 ... on one connection
//   unregister KEY                  withdraw the room announced as KEY
//   unregister-all                  withdraw every room of this process
//   browse RESOLVE [PREFIX]         browse rooms; RESOLVE 1: resolve each added
//                                   room whose name starts with PREFIX, then
//                                   look up its host's address
//   stop-browse
//   quit
// Output lines, fields separated by tabs, the second field the time in ms:
//   ready T | reg-sent T KEY | registered T KEY ERROR NAME | registered-all T COUNT ERRORS
//   unreg T KEY | browse-start T | add T NAME | rm T NAME
//   resolved T NAME HOST PORT | addr T NAME ADDRESS | error T WHAT CODE
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "dnssd_client.h"

namespace {

const char kType[] = "_tesselrooms._tcp";

double NowMs() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void Out(const std::string& event, const std::vector<std::string>& fields = {}) {
  std::string line = event;
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "\t%.3f", NowMs());
  line += stamp;
  for (const auto& f : fields) line += "\t" + f;
  line += "\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

DNSServiceRef g_primary = nullptr;

// Registrations by key.
std::map<std::string, DNSServiceRef> g_registered;
int g_manyLeft = 0;
int g_manyTotal = 0;
int g_manyErrors = 0;

// The browse and its resolves.
DNSServiceRef g_browse = nullptr;
bool g_resolve = false;
std::string g_resolvePrefix;
struct Lookup {
  std::string name;
  DNSServiceRef resolve = nullptr;
  DNSServiceRef address = nullptr;
};
std::map<std::string, Lookup*> g_lookups;  // by instance name

void EndLookup(Lookup* l) {
  if (l->resolve) DNSServiceRefDeallocate(l->resolve);
  if (l->address) DNSServiceRefDeallocate(l->address);
  g_lookups.erase(l->name);
  delete l;
}

void DNSSD_API OnAddress(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                         const char*, const sockaddr* address, uint32_t, void* context) {
  auto* l = static_cast<Lookup*>(context);
  if (error != kDNSServiceErr_NoError || !address) {
    Out("error", {"address " + l->name, std::to_string(error)});
    return;
  }
  char text[INET6_ADDRSTRLEN] = "";
  if (address->sa_family == AF_INET)
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
  else if (address->sa_family == AF_INET6)
    inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text,
              sizeof text);
  Out("addr", {l->name, text});
  EndLookup(l);  // the first address is what counts
}

void DNSSD_API OnResolve(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                         const char*, const char* host, uint16_t port, uint16_t,
                         const unsigned char*, void* context) {
  auto* l = static_cast<Lookup*>(context);
  if (error != kDNSServiceErr_NoError || !host) {
    Out("error", {"resolve " + l->name, std::to_string(error)});
    return;
  }
  Out("resolved", {l->name, host, std::to_string(ntohs(port))});
  if (l->address) return;  // one address look-up per room
  DNSServiceRef ref = g_primary;
  const DNSServiceErrorType e = DNSServiceGetAddrInfo(
      &ref, kDNSServiceFlagsShareConnection, 0,
      kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6, host, OnAddress, l);
  if (e != kDNSServiceErr_NoError) {
    Out("error", {"getaddrinfo " + l->name, std::to_string(e)});
    return;
  }
  l->address = ref;
}

void DNSSD_API OnBrowse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                        DNSServiceErrorType error, const char* name, const char* type,
                        const char* domain, void*) {
  if (error != kDNSServiceErr_NoError) {
    Out("error", {"browse", std::to_string(error)});
    return;
  }
  const std::string n = name ? name : "";
  if (!(flags & kDNSServiceFlagsAdd)) {
    Out("rm", {n});
    return;
  }
  Out("add", {n});
  if (!g_resolve || n.compare(0, g_resolvePrefix.size(), g_resolvePrefix) != 0) return;
  if (g_lookups.count(n)) return;  // seen on another interface
  auto* l = new Lookup;
  l->name = n;
  DNSServiceRef ref = g_primary;
  const DNSServiceErrorType e = DNSServiceResolve(&ref, kDNSServiceFlagsShareConnection,
                                                  interfaceIndex, name, type, domain, OnResolve, l);
  if (e != kDNSServiceErr_NoError) {
    Out("error", {"resolve-start " + n, std::to_string(e)});
    delete l;
    return;
  }
  l->resolve = ref;
  g_lookups[n] = l;
}

void DNSSD_API OnRegister(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error,
                          const char* name, const char*, const char*, void* context) {
  auto* key = static_cast<std::string*>(context);
  if (g_manyLeft > 0 && key->compare(0, 5, "many:") == 0) {
    if (error != kDNSServiceErr_NoError) ++g_manyErrors;
    if (--g_manyLeft == 0)
      Out("registered-all", {std::to_string(g_manyTotal), std::to_string(g_manyErrors)});
    return;
  }
  Out("registered", {*key, std::to_string(error), name ? name : ""});
}

// Keys live as long as the process: a callback may still name them.
std::string* KeepKey(const std::string& key) { return new std::string(key); }

bool Register(const std::string& key, const std::string& name, uint16_t port,
              const std::string& code) {
  TXTRecordRef txt;
  TXTRecordCreate(&txt, 0, nullptr);
  TXTRecordSetValue(&txt, "code", static_cast<uint8_t>(code.size()), code.data());
  DNSServiceRef ref = g_primary;
  const DNSServiceErrorType e =
      DNSServiceRegister(&ref, kDNSServiceFlagsShareConnection, 0, name.c_str(), kType, "",
                         nullptr, htons(port), TXTRecordGetLength(&txt),
                         TXTRecordGetBytesPtr(&txt), OnRegister, KeepKey(key));
  TXTRecordDeallocate(&txt);
  if (e != kDNSServiceErr_NoError) {
    Out("error", {"register " + key, std::to_string(e)});
    return false;
  }
  g_registered[key] = ref;
  return true;
}

void Command(const std::string& line, bool& quit) {
  std::istringstream in(line);
  std::string cmd;
  in >> cmd;
  if (cmd == "quit") {
    quit = true;
  } else if (cmd == "register") {
    std::string key, name;
    int port = 0;
    in >> key >> name >> port;
    Out("reg-sent", {key});
    Register(key, name, static_cast<uint16_t>(port), key);
  } else if (cmd == "register-many") {
    std::string prefix;
    int count = 0, port = 0;
    in >> prefix >> count >> port;
    g_manyLeft = g_manyTotal = count;
    g_manyErrors = 0;
    Out("reg-sent-many", {std::to_string(count)});
    for (int i = 0; i < count; ++i) {
      char name[128];
      std::snprintf(name, sizeof name, "%s-%04d", prefix.c_str(), i);
      if (!Register("many:" + std::string(name), name, static_cast<uint16_t>(port), name)) {
        --g_manyLeft;
        ++g_manyErrors;
      }
    }
  } else if (cmd == "unregister") {
    std::string key;
    in >> key;
    auto it = g_registered.find(key);
    if (it == g_registered.end()) {
      Out("error", {"unregister " + key, "unknown"});
      return;
    }
    Out("unreg", {key});
    DNSServiceRefDeallocate(it->second);
    g_registered.erase(it);
  } else if (cmd == "unregister-all") {
    Out("unreg-all", {std::to_string(g_registered.size())});
    for (auto& r : g_registered) DNSServiceRefDeallocate(r.second);
    g_registered.clear();
    g_manyLeft = 0;
  } else if (cmd == "browse") {
    int resolve = 0;
    in >> resolve >> g_resolvePrefix;
    g_resolve = resolve != 0;
    if (g_browse) DNSServiceRefDeallocate(g_browse);
    g_browse = g_primary;
    Out("browse-start");
    const DNSServiceErrorType e =
        DNSServiceBrowse(&g_browse, kDNSServiceFlagsShareConnection, 0, kType, "", OnBrowse, nullptr);
    if (e != kDNSServiceErr_NoError) {
      g_browse = nullptr;
      Out("error", {"browse-start", std::to_string(e)});
    }
  } else if (cmd == "stop-browse") {
    if (g_browse) DNSServiceRefDeallocate(g_browse);
    g_browse = nullptr;
    while (!g_lookups.empty()) EndLookup(g_lookups.begin()->second);
  } else if (!cmd.empty()) {
    Out("error", {"command " + cmd, "unknown"});
  }
}

}  // namespace

int main(int argc, char**) {
  if (argc > 1 || !std::getenv("TESSEL_MDNS_SOCKET")) {
    std::fprintf(stderr, "usage: TESSEL_MDNS_SOCKET=<path> mdns_bench_client (commands on stdin)\n");
    return 2;
  }
  // The responder may still be starting: try for a while.
  const double giveUp = NowMs() + 10000;
  DNSServiceErrorType error = kDNSServiceErr_Unknown;
  while ((error = DNSServiceCreateConnection(&g_primary)) != kDNSServiceErr_NoError) {
    if (NowMs() > giveUp) {
      Out("error", {"connect", std::to_string(error)});
      return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  Out("ready");

  std::string input;
  bool quit = false;
  bool stdinOpen = true;
  while (!quit && stdinOpen) {
    pollfd fds[2] = {{DNSServiceRefSockFD(g_primary), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) continue;
    if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
      const DNSServiceErrorType e = DNSServiceProcessResult(g_primary);
      if (e != kDNSServiceErr_NoError) {
        Out("error", {"process", std::to_string(e)});
        break;
      }
    }
    if (fds[1].revents & (POLLIN | POLLHUP)) {
      char buf[4096];
      const ssize_t got = read(STDIN_FILENO, buf, sizeof buf);
      if (got <= 0) {
        stdinOpen = false;
        break;
      }
      input.append(buf, static_cast<std::size_t>(got));
      std::size_t nl;
      while (!quit && (nl = input.find('\n')) != std::string::npos) {
        const std::string line = input.substr(0, nl);
        input.erase(0, nl + 1);
        Command(line, quit);
      }
    }
  }
  if (g_browse) DNSServiceRefDeallocate(g_browse);
  for (auto& r : g_registered) DNSServiceRefDeallocate(r.second);
  DNSServiceRefDeallocate(g_primary);
  Out("end");
  return 0;
}
