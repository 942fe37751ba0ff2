// The platform layer's promises that the DNS-SD layer builds on.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Platform.h"

using platform::Event;
using platform::NamedThread;
using platform::SocketWatch;

namespace {

using Clock = std::chrono::steady_clock;

int64_t MillisSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

TEST(PlatformEvent, AutoResetWakesOnceManualResetStaysSet) {
  Event automatic(Event::kAutoReset), manual(Event::kManualReset);
  ASSERT_TRUE(automatic.Valid());
  EXPECT_FALSE(automatic.Wait(0));
  automatic.Set();
  EXPECT_TRUE(automatic.Wait(0));
  EXPECT_FALSE(automatic.Wait(0));
  manual.Set();
  EXPECT_TRUE(manual.Wait(0));
  EXPECT_TRUE(manual.Wait(0));
  manual.Reset();
  EXPECT_FALSE(manual.Wait(10));

  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    automatic.Set();
  });
  EXPECT_TRUE(automatic.Wait(Event::kInfinite));
  setter.join();
}

TEST(PlatformSocketWatch, ReportsReadableThenClosedAndWakesOnStop) {
  int fds[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, fds));
  SocketWatch watch;
  Event stop(Event::kManualReset);
  EXPECT_FALSE(watch.Open(-1));
  ASSERT_TRUE(watch.Open(fds[0]));
  EXPECT_EQ(0u, watch.Check());

  std::thread waker([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop.Set();
  });
  EXPECT_FALSE(watch.Wait(stop, Event::kInfinite));  // the stop event, not the socket
  waker.join();

  ASSERT_EQ(1, write(fds[1], "x", 1));
  EXPECT_TRUE(watch.Wait(stop, Event::kInfinite));  // the socket comes first
  EXPECT_EQ(SocketWatch::kReadable, watch.Check());
  close(fds[1]);
  // Data still pending before the close: read first, then the close shows.
  EXPECT_EQ(SocketWatch::kReadable, watch.Check());
  char c;
  ASSERT_EQ(1, read(fds[0], &c, 1));
  EXPECT_EQ(SocketWatch::kClosed, watch.Check());
  watch.Close();
  EXPECT_EQ(0u, watch.Check());
  EXPECT_NE(-1, fcntl(fds[0], F_GETFD));  // the socket is not ours to close
  close(fds[0]);
}

TEST(PlatformThread, NameTableHoldsFourAndJoinGivesTheExitCode) {
  std::atomic<bool> release{false};
  std::vector<std::unique_ptr<NamedThread>> threads;
  for (int i = 0; i < 5; ++i) {
    threads.push_back(std::make_unique<NamedThread>());
    ASSERT_TRUE(threads.back()->Start(
        [&release, i] {
          while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
          return static_cast<uint32_t>(10 + i);
        },
        "worker " + std::to_string(i)));
  }
  for (int slot = 0; slot < NamedThread::kTableSlots; ++slot)
    EXPECT_EQ("worker " + std::to_string(slot), NamedThread::TableName(slot));
  release = true;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(static_cast<uint32_t>(10 + i), threads[i]->Join());
  threads.clear();
  for (int slot = 0; slot < NamedThread::kTableSlots; ++slot)
    EXPECT_EQ("", NamedThread::TableName(slot));
}

TEST(PlatformThread, AThreadThatOutlivesItsJoinIsGivenUpAndRecorded) {
  auto stuck = std::make_shared<std::atomic<bool>>(true);
  NamedThread thread;
  ASSERT_TRUE(thread.Start(
      [stuck] {
        while (*stuck) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return 0u;
      },
      "stuck"));
  const auto start = Clock::now();
  EXPECT_EQ(1u, thread.Join(50));
  EXPECT_LT(MillisSince(start), 1000);
  EXPECT_NE(0u, NamedThread::AbandonedThreadId());
  *stuck = false;  // let it finish on its own
}

class TrustCheck : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/atrium-platform-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(tmpl));
    dir = tmpl;
  }
  void TearDown() override {
    platform::testing::SetModuleDirectory("");
    std::system(("rm -rf " + dir).c_str());
  }
  std::string File(const std::string& name, mode_t mode) {
    const std::string path = dir + "/" + name;
    std::ofstream(path) << "x";
    chmod(path.c_str(), mode);
    return path;
  }
  std::string dir;
};

TEST_F(TrustCheck, RefusesWhatOthersCouldHaveChanged) {
  EXPECT_TRUE(platform::IsTrustedModule(File("ok.so", 0755)));
  EXPECT_FALSE(platform::IsTrustedModule(File("group.so", 0775)));
  EXPECT_FALSE(platform::IsTrustedModule(File("world.so", 0757)));
  EXPECT_FALSE(platform::IsTrustedModule(dir));
  ASSERT_EQ(0, symlink((dir + "/ok.so").c_str(), (dir + "/link.so").c_str()));
  EXPECT_FALSE(platform::IsTrustedModule(dir + "/link.so"));
  EXPECT_FALSE(platform::IsTrustedModule(dir + "/missing.so"));

  platform::testing::SetModuleDirectory(dir);
  EXPECT_EQ(dir, platform::ModuleDirectory());
  // An untrusted file is not even tried; a trusted one that is no library fails to load.
  EXPECT_EQ(nullptr, platform::LoadLibraryFromModuleDir("group.so"));
  EXPECT_EQ(nullptr, platform::LoadLibraryFromModuleDir("ok.so"));
}

TEST(PlatformModule, OwnFolderIsFoundFromTheCodesAddress) {
  const std::string folder = platform::ModuleDirectory();
  ASSERT_FALSE(folder.empty());
  char exe[4096];
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  ASSERT_GT(n, 0);
  exe[n] = '\0';
  EXPECT_EQ(0u, std::string(exe).find(folder + "/"));
}

}  // namespace
