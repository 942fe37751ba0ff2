// Publishing a service against the scripted library.
#include <chrono>
#include <future>
#include <thread>

#include "ScriptedControl.h"
#include "dnssd_register.h"

namespace {

class RegisterTest : public layertest::ScriptedTest {
 protected:
  static dns_service_record Record(txt_entries txt = {}) {
    dns_service_record r;
    r.name = "Room A";
    r.type = "_tesselrooms._tcp";
    r.domain = "";
    r.port = 8080;
    r.txt = std::move(txt);
    return r;
  }
};

TEST_F(RegisterTest, TxtEntriesAreBuiltWithTheirLengthCutToEightBits) {
  dnssd_register reg(&sink);
  const std::string longValue(300, 'v');
  ASSERT_TRUE(reg.start(Record({{"code", "42"}, {"empty", ""}, {"long", longValue}})));
  const auto args = s->Last("DNSServiceRegister");
  EXPECT_EQ(8080, args.port);
  EXPECT_STREQ("Room A", args.name);
  EXPECT_FALSE(args.has_host);
  // Items in key order; the 300-byte value goes in as 300 % 256 = 44 bytes.
  std::string expected = std::string("\x07") + "code=42" + "\x06" + "empty=" +
                         static_cast<char>(5 + 44) + "long=" + std::string(44, 'v');
  ASSERT_EQ(expected.size(), args.txt_len);
  EXPECT_EQ(expected, std::string(reinterpret_cast<const char*>(args.txt), args.txt_len));
  uint16_t length = 0;
  const void* bytes = reg.txt_record(&length);
  EXPECT_EQ(expected, std::string(static_cast<const char*>(bytes), length));

  EXPECT_FALSE(reg.start(Record()));  // one service at a time
  EXPECT_EQ(1, s->calls("DNSServiceRegister"));
  reg.stop();
  EXPECT_EQ(nullptr, reg.txt_record(&length));
  EXPECT_EQ(0, length);
}

TEST_F(RegisterTest, NoTxtEntriesRegisterNoTxtBytes) {
  dnssd_register reg(&sink);
  ASSERT_TRUE(reg.start(Record()));
  const auto args = s->Last("DNSServiceRegister");
  EXPECT_EQ(0, args.txt_len);
  EXPECT_FALSE(args.has_txt);
  uint16_t length = 7;
  EXPECT_EQ(nullptr, reg.txt_record(&length));
  EXPECT_EQ(0, length);
}

TEST_F(RegisterTest, TheDaemonsAnswerReachesTheSinkWithTheNameItChose) {
  dnssd_register reg(&sink);
  ASSERT_TRUE(reg.start(Record()));
  ASSERT_EQ(0, s->register_reply(nullptr, 0, 0, "Room A (2)", "_tesselrooms._tcp.", "local."));
  const auto reports = sink.WaitFor(1);
  ASSERT_EQ(1u, reports.size());
  EXPECT_EQ("Room A (2)", reports[0].name);
  EXPECT_EQ(0, reports[0].error);
  EXPECT_NE(std::this_thread::get_id(), reports[0].thread);
  EXPECT_TRUE(layertest::LoggedPrefix("[bonjour] register callback: 0, 0, Room A (2), _tesselrooms._tcp., local., 0x"));
}

TEST_F(RegisterTest, AStopCutsTheRetryShortWithin100Ms) {
  dnssd_register reg(&sink);
  s->fail_register(kDNSServiceErr_ServiceNotRunning, 1000000);
  std::chrono::steady_clock::time_point returned;
  auto done = std::async(std::launch::async, [&] {
    const bool ok = reg.start(Record());
    returned = std::chrono::steady_clock::now();
    return ok;
  });
  // Stop once the retry is under way.
  for (int i = 0; i < 5000 && s->calls("DNSServiceRegister") < 2; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ASSERT_GE(s->calls("DNSServiceRegister"), 2);
  const auto stopAt = std::chrono::steady_clock::now();
  reg.stop();
  ASSERT_EQ(std::future_status::ready, done.wait_for(std::chrono::seconds(5)));
  EXPECT_FALSE(done.get());
  EXPECT_LE(std::chrono::duration_cast<std::chrono::milliseconds>(returned - stopAt).count(), 100);
  EXPECT_TRUE(layertest::Logged(
      "[bonjour] error: register service (Room A, _tesselrooms._tcp, , 8080) failed, -65563"));
  const auto reports = sink.WaitFor(1);
  ASSERT_EQ(1u, reports.size());
  EXPECT_EQ(kDNSServiceErr_ServiceNotRunning, reports[0].error);
}

TEST_F(RegisterTest, AStartOvertakenByAStopLeavesNothingBehind) {
  for (int round = 0; round < 50; ++round) {
    dnssd_register reg(nullptr);
    auto started = std::async(std::launch::async, [&] { return reg.start(Record()); });
    reg.stop();
    const bool published = started.get();
    // Whichever came first, a live registration has its thread and a failed
    // start leaves nothing.
    const int live = s->live_refs_of("DNSServiceRegister");
    EXPECT_EQ(live, reg.thread_running() ? 1 : 0) << "round " << round;
    if (!published) {
      EXPECT_EQ(0, live) << "round " << round;
    }
  }
}

TEST_F(RegisterTest, StoppingWhatNeverStartedDoesNothing) {
  dnssd_register reg(nullptr);
  reg.stop();
  reg.stop();
  EXPECT_FALSE(reg.thread_running());
}

}  // namespace
