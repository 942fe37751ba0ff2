// Two users of the DNS-SD layer in one process, on the real own modules of
// this build (libmdnsclient.so and libmdnsresponder.so in the module folder).
// The process first moves into a network namespace of its own, still
// single-threaded, that holds only a loopback: the responder's multicast
// stays there. Skipped where that namespace cannot be made.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "LayerTestSupport.h"
#include "Platform/Platform.h"
#include "bonjour_service.h"
#include "cpt_bonjour.h"

namespace {

std::string g_problem = "not set up";

std::string EnterPrivateNetwork() {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
    return std::string("unshare: ") + std::strerror(errno);
  const int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (s < 0) return std::string("socket: ") + std::strerror(errno);
  ifreq req{};
  std::strcpy(req.ifr_name, "lo");
  bool ok = ioctl(s, SIOCGIFFLAGS, &req) == 0;
  if (ok) {
    req.ifr_flags |= IFF_UP | IFF_MULTICAST;
    ok = ioctl(s, SIOCSIFFLAGS, &req) == 0;
  }
  const int error = errno;
  close(s);
  if (!ok) return std::string("bringing up lo: ") + std::strerror(error);
  std::string problem;
  struct if_nameindex* names = if_nameindex();
  if (!names) return "cannot list the interfaces";
  for (struct if_nameindex* n = names; n->if_index != 0; ++n)
    if (std::strcmp(n->if_name, "lo") != 0) problem = std::string("interface ") + n->if_name;
  if_freenameindex(names);
  return problem;
}

// Whether this process's responder takes connections on its socket.
bool ResponderServes() {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  const int n = std::snprintf(addr.sun_path + 1, sizeof addr.sun_path - 1, "tessel-mdns-%ld",
                              static_cast<long>(getpid()));
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool up = connect(fd, reinterpret_cast<sockaddr*>(&addr),
                          static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + n)) == 0;
  close(fd);
  return up;
}

// The first report that `match` accepts, within 10 s.
bool WaitFor(layertest::RecordingSink& sink, layertest::Report& found,
             const std::function<bool(const layertest::Report&)>& match) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    for (const auto& r : sink.Reports())
      if (match(r)) {
        found = r;
        return true;
      }
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

TEST(OwnModules, TwoUsersShareOneResponderThatFindsTheirServices) {
  if (!g_problem.empty()) GTEST_SKIP() << "no private network namespace: " << g_problem;
  const std::string rooms = "_tesselrooms._tcp";
  layertest::RecordingSink a_sink, b_sink;
  std::unique_ptr<cpt_bonjour> a(create_cpt_bonjour());
  std::unique_ptr<cpt_bonjour> b(create_cpt_bonjour());
  ASSERT_TRUE(a && b);
  a->set_sink(&a_sink);
  b->set_sink(&b_sink);
  EXPECT_EQ(2, bonjour_service::instance().refcount());
  EXPECT_TRUE(bonjour_service::instance().responder_loaded());

  dns_service_record record;
  record.name = "Atlas";
  record.type = rooms;
  record.port = 7100;
  record.txt = {{"code", "4321"}};
  ASSERT_NE(nullptr, a->register_service(record));
  layertest::Report r;
  ASSERT_TRUE(WaitFor(a_sink, r, [](const layertest::Report& x) { return x.kind == "register"; }));
  EXPECT_EQ(0, r.error);
  EXPECT_EQ("Atlas", r.name);

  b->start_browse_service(rooms, "");
  ASSERT_TRUE(WaitFor(b_sink, r, [](const layertest::Report& x) {
    return x.kind == "browse" && x.name == "Atlas" && x.flag;
  })) << "user B did not find user A's service";
  EXPECT_EQ(0, r.error);
  b->resolve_service(r.name, r.type, r.domain);
  ASSERT_TRUE(WaitFor(b_sink, r, [](const layertest::Report& x) {
    return x.kind == "resolve" && x.address == "127.0.0.1";
  })) << "no IPv4 address for the service";
  EXPECT_EQ(0, r.error);
  EXPECT_TRUE(r.flag);
  EXPECT_EQ(7100, r.port);
  EXPECT_EQ("4321", r.txt["code"]);
  EXPECT_FALSE(r.host.empty());

  // A goes with its registration; the responder serves B on.
  a.reset();
  EXPECT_TRUE(WaitFor(b_sink, r, [](const layertest::Report& x) {
    return x.kind == "browse" && x.name == "Atlas" && !x.flag;
  })) << "the service of the user that went is still reported";
  EXPECT_EQ(1, bonjour_service::instance().refcount());
  EXPECT_TRUE(ResponderServes());

  b.reset();
  EXPECT_EQ(0, bonjour_service::instance().refcount());
  EXPECT_FALSE(bonjour_service::instance().responder_loaded());
  EXPECT_FALSE(ResponderServes());
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  g_problem = EnterPrivateNetwork();
  setenv("TESSEL_MDNS_INTERFACES", "lo", 1);
  unsetenv("TESSEL_MDNS_SOCKET");
  // No system daemon: the layer loads the own modules from this folder.
  platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
  platform::testing::SetModuleDirectory(OWN_MODULES_DIR);
  return RUN_ALL_TESTS();
}
