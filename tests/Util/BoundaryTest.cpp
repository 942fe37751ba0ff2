#include "Util/Boundary.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<std::string> g_reports;
void Capture(const char* where, const char* what) { g_reports.push_back(std::string(where) + ": " + what); }

struct BoundaryTest : ::testing::Test {
  void SetUp() override {
    g_reports.clear();
    previous_ = boundary::SetReporter(&Capture);
  }
  void TearDown() override { boundary::SetReporter(previous_); }
  boundary::Reporter previous_ = nullptr;
};

TEST_F(BoundaryTest, AnEscapedFailureIsReportedOnceAndTheNeutralValueReturned) {
  EXPECT_EQ(7, boundary::Guard("Entry", 7, []() -> int { throw std::runtime_error("broken"); }));
  boundary::Guard("Other", [] { throw 42; });
  EXPECT_EQ((std::vector<std::string>{"Entry: broken", "Other: unknown exception"}), g_reports);
}

TEST_F(BoundaryTest, ABodyThatFinishesIsNotReported) {
  EXPECT_EQ(3, boundary::Guard("Entry", 0, [] { return 3; }));
  EXPECT_TRUE(g_reports.empty());
}

}  // namespace
