// The simulated host's own promises that the other tests rely on.
#include <gtest/gtest.h>

#include "hostsim/SimHost.h"
#include "Kit/Time.h"
#include "Kit/Timer.h"
#include "TesselTask/TesselTask.h"

namespace {

class Recorder : public Kit::CTimer {
 public:
  void OnTimer(Kit::CTimerID*) override { fired.push_back(Kit::Time::Now().ToInternalValue()); }
  std::vector<int64_t> fired;
};

TEST(SimHost, MainQueueRunsInPostingOrderAndDropsByKey) {
  hostsim::Reset();
  std::vector<int> order;
  auto* manager = TesselTask::GetTLTManager();
  const uint64_t a = TesselTask::GenerateUniqueKey("a"), b = TesselTask::GenerateUniqueKey("b");
  EXPECT_EQ(a, TesselTask::GenerateUniqueKey("a"));
  EXPECT_NE(a, b);
  int released = 0;
  for (int i = 0; i < 4; ++i)
    manager->PostTask(TesselTask::kMainThreadRunner,
                      TesselTask::CreateTesselTask(
                          "t", [&order, i] { order.push_back(i); }, [&released] { ++released; }),
                      i % 2 ? b : a);
  EXPECT_FALSE(manager->PostTask("other.runner",
                                 TesselTask::CreateTesselTask("t", nullptr, [&] { ++released; }), a));
  manager->DropTasks(b);
  EXPECT_EQ(3, released);
  uint64_t keyInside = 0;
  manager->PostTask(TesselTask::kMainThreadRunner,
                    TesselTask::CreateTesselTask(
                        "k", [&] { keyInside = TesselTask::GetCurrentUniqueKey(); }, nullptr),
                    b);
  EXPECT_EQ(3u, hostsim::RunMainQueue());
  EXPECT_EQ((std::vector<int>{0, 2}), order);
  EXPECT_EQ(5, released);
  EXPECT_EQ(b, keyInside);
  EXPECT_EQ(0u, TesselTask::GetCurrentUniqueKey());
}

TEST(SimHost, TimersFireInTimeOrderAsTheClockAdvances) {
  hostsim::Reset();
  const int64_t start = hostsim::NowMicros();
  Recorder r;
  Kit::CTimerID every, once;
  every.SetTimer(&r, 100);
  once.SetTimer(&r, 150, false);
  hostsim::AdvanceClock(250);
  EXPECT_EQ((std::vector<int64_t>{start + 100000, start + 150000, start + 200000}), r.fired);
  EXPECT_FALSE(once.IsActive());
  EXPECT_EQ(start + 250000, hostsim::NowMicros());
  {
    Kit::CTimerID scoped;
    scoped.SetTimer(&r, 10);
  }
  every.KillTimer();
  hostsim::AdvanceClock(1000);
  EXPECT_EQ(3u, r.fired.size());
  EXPECT_EQ(0u, hostsim::ActiveTimerCount());
  EXPECT_EQ(1, (Kit::Time::Now() - Kit::Time::FromInternalValue(start)).InSeconds());
}

}  // namespace
