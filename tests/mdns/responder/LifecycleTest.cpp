// Starting and stopping: the responder class, the module's entry points as
// the DNS-SD layer calls them, and the daemon.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "test_client.h"

namespace responder_test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Lifecycle, StopEndsABusyResponderPromptlyAndRemovesItsSocket) {
  REQUIRE_PRIVATE_NETWORK();
  RunningResponder responder(TempSocket("busy.sock"));
  Client c(responder.path());
  ASSERT_EQ(0, c.Register(1, "Busy", "_tesseltest._tcp", 1, {}));
  ASSERT_TRUE(c.Await(mdns_wire::kRegisterReply, 1));
  ASSERT_EQ(0, c.Browse(2, "_tesseltest._tcp"));
  EXPECT_LT(responder.Stop(), milliseconds(1000));
  EXPECT_TRUE(responder.served());
  EXPECT_TRUE(c.ClosedWithin(seconds(1)));
  struct stat st {};
  EXPECT_NE(0, stat(responder.path().c_str(), &st));
}

TEST(Lifecycle, StopAndRunInEitherOrder) {
  REQUIRE_PRIVATE_NETWORK();
  mdns_responder::Options options;
  options.socket_path = TempSocket("order.sock");
  options.interfaces = "lo";
  mdns_responder::Responder responder;

  responder.Stop();  // before Run: meant for the next one
  auto start = Clock::now();
  EXPECT_TRUE(responder.Run(options));
  EXPECT_LT(Clock::now() - start, milliseconds(200));

  std::thread first([&] { responder.Run(options); });
  Client c(options.socket_path);
  ASSERT_EQ(0, c.Hello(1));
  start = Clock::now();
  EXPECT_TRUE(responder.Run(options));  // runs already
  EXPECT_LT(Clock::now() - start, milliseconds(200));
  responder.Stop();
  first.join();
}

TEST(Lifecycle, ASocketInUseIsNotTaken) {
  REQUIRE_PRIVATE_NETWORK();
  RunningResponder owner(TempSocket("taken.sock"));
  mdns_responder::Options options;
  options.socket_path = owner.path();
  options.interfaces = "lo";
  mdns_responder::Responder second;
  EXPECT_FALSE(second.Run(options));
  Client c(owner.path());
  EXPECT_EQ(0, c.Hello(1));
}

TEST(Lifecycle, ModuleServesThisProcessUntilStopped) {
  REQUIRE_PRIVATE_NETWORK();
  unsetenv("TESSEL_MDNS_SOCKET");
  setenv("TESSEL_MDNS_INTERFACES", "lo", 1);
  void* module = dlopen(MDNS_RESPONDER_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_TRUE(module) << dlerror();
  auto start = reinterpret_cast<void (*)()>(dlsym(module, "dnssd_service_start"));
  auto stop = reinterpret_cast<void (*)()>(dlsym(module, "dnssd_service_stop"));
  ASSERT_TRUE(start && stop);

  std::atomic<bool> returned{false};
  std::thread server([&] {
    start();
    returned = true;
  });
  {
    Client c("");  // this process's own socket
    ASSERT_TRUE(c.connected());
    EXPECT_EQ(0, c.Hello(1));
    EXPECT_EQ(0, c.Browse(2, "_tesseltest._tcp"));
  }
  const auto asked = Clock::now();
  stop();
  server.join();
  EXPECT_LT(Clock::now() - asked, milliseconds(1000));
  EXPECT_TRUE(returned);
  dlclose(module);
  unsetenv("TESSEL_MDNS_INTERFACES");
}

TEST(Lifecycle, DaemonServesItsSocketUntilSigterm) {
  REQUIRE_PRIVATE_NETWORK();
  const std::string path = TempSocket("daemon.sock");
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    setenv("TESSEL_MDNS_SOCKET", path.c_str(), 1);
    setenv("TESSEL_MDNS_INTERFACES", "lo", 1);
    execl(MDNS_DAEMON, MDNS_DAEMON, static_cast<char*>(nullptr));
    _exit(127);
  }
  {
    Client c(path);
    ASSERT_TRUE(c.connected());
    EXPECT_EQ(0, c.Hello(1));
  }
  kill(pid, SIGTERM);
  int status = 0;
  ASSERT_TRUE(Eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; }, seconds(3)));
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
}

}  // namespace
}  // namespace responder_test
