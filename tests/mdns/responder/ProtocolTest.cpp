// One responder and its clients: requests, their checks, and what ends a
// connection.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "bonjour/dnssd_types.h"
#include "test_client.h"

namespace responder_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const std::vector<uint8_t> kTxt = {5, 'k', '1', '=', 'v', '1'};

class Protocol : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_PRIVATE_NETWORK();
    responder_ = std::make_unique<RunningResponder>(TempSocket("protocol.sock"));
  }
  std::string RegisteredName(Client& c, uint32_t id) {
    auto reply = c.Await(mdns_wire::kRegisterReply, id);
    if (!reply) return "(no reply)";
    auto f = Parse(*reply, "iiittt");
    if (!f || f->ints[2] != 0) return "(error)";
    return f->texts[0];
  }
  std::unique_ptr<RunningResponder> responder_;
};

TEST_F(Protocol, HelloAcceptsOnlyItsVersion) {
  Client c(responder_->path());
  ASSERT_TRUE(c.connected());
  EXPECT_EQ(0, c.Hello(1));
  EXPECT_EQ(kDNSServiceErr_Incompatible, c.Hello(2, 7));
}

TEST_F(Protocol, BadRequestsAreRefusedAndTheConnectionGoesOn) {
  Client c(responder_->path());
  ASSERT_TRUE(c.connected());
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Register(1, "r", "_tesseltest._tcp", 70000, kTxt));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Register(2, "r", "_tesseltest._tcp", 1, {5, 'k'}));  // item overruns
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Register(3, "r", "", 1, kTxt));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Register(4, std::string(70, 'n'), "_tesseltest._tcp", 1, kTxt));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Browse(5, ""));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Browse(6, "no type"));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.GetAddr(7, 4, "host.local."));  // unknown protocol bit
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Resolve(8, "", "_tesseltest._tcp"));

  mdns_wire::Writer w(mdns_wire::kBrowse, 9);
  w.Int(0).Int(0x80000000u).Text("_tesseltest._tcp").Text("");
  ASSERT_TRUE(c.Send(w));
  EXPECT_EQ(kDNSServiceErr_BadInterfaceIndex, c.Status(9));

  EXPECT_EQ(0, c.Browse(10, "_tesseltest._tcp"));
  EXPECT_EQ(kDNSServiceErr_BadParam, c.Browse(10, "_tesselother._tcp"));  // id in use
  EXPECT_EQ(0, c.Hello(11));
}

TEST_F(Protocol, MalformedFramesCloseOnlyTheirConnection) {
  Client bystander(responder_->path());
  ASSERT_TRUE(bystander.connected());
  ASSERT_EQ(0, bystander.Browse(1, "_tesseltest._tcp"));

  auto valid_hello = [] {
    mdns_wire::Writer w(mdns_wire::kHello, 1);
    return w.Int(1).Finish();
  };
  std::vector<std::vector<uint8_t>> bad;
  auto wrong_magic = valid_hello();
  wrong_magic[0] ^= 0xFF;
  bad.push_back(wrong_magic);
  auto wrong_version = valid_hello();
  wrong_version[2] = 9;
  bad.push_back(wrong_version);
  auto oversized = valid_hello();
  oversized[4] = 0x7F;  // payload length far over the limit
  bad.push_back(oversized);
  {
    // A text whose length runs past the frame.
    mdns_wire::Writer w(mdns_wire::kBrowse, 2);
    auto frame = w.Int(0).Int(0).Text("_tesseltest._tcp").Text("").Finish();
    frame[mdns_wire::kHeaderSize + 8] = 0x7F;
    bad.push_back(frame);
  }
  {
    mdns_wire::Writer w(mdns_wire::kHello, 3);  // a trailing field
    bad.push_back(w.Int(1).Int(1).Finish());
  }
  {
    mdns_wire::Writer w(mdns_wire::kStatus, 4);  // the responder's own frame
    bad.push_back(w.Int(0).Finish());
  }
  for (std::size_t i = 0; i < bad.size(); ++i) {
    Client c(responder_->path());
    ASSERT_TRUE(c.connected());
    ASSERT_TRUE(c.SendRaw(bad[i]));
    EXPECT_TRUE(c.ClosedWithin(seconds(3))) << "frame " << i;
  }
  EXPECT_EQ(0, bystander.Hello(5));
  Client after(responder_->path());
  EXPECT_EQ(0, after.Hello(1));
}

TEST_F(Protocol, AClientThatReadsNothingIsDropped) {
  Client greedy(responder_->path());
  ASSERT_TRUE(greedy.connected());
  timeval limit{10, 0};
  setsockopt(greedy.fd(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  // Each hello costs 16 bytes of answer: about 4 MiB of answers asked for.
  std::vector<uint8_t> batch;
  for (uint32_t i = 0; i < 4096; ++i) {
    mdns_wire::Writer w(mdns_wire::kHello, i);
    auto frame = w.Int(1).Finish();
    batch.insert(batch.end(), frame.begin(), frame.end());
  }
  bool refused = false;
  for (int round = 0; round < 64 && !refused; ++round) refused = !greedy.SendRaw(batch);
  EXPECT_TRUE(refused || greedy.ClosedWithin(seconds(3)));

  Client other(responder_->path());
  EXPECT_EQ(0, other.Hello(1));
}

TEST_F(Protocol, RegistrationsOfOneResponderGetDistinctNames) {
  Client c(responder_->path());
  ASSERT_TRUE(c.connected());
  ASSERT_EQ(0, c.Register(1, "Twin", "_tesseltest._tcp", 4000, kTxt));
  EXPECT_EQ("Twin", RegisteredName(c, 1));
  ASSERT_EQ(0, c.Register(2, "Twin", "_tesseltest._tcp", 4001, kTxt));
  EXPECT_EQ("Twin #2", RegisteredName(c, 2));
  EXPECT_EQ(kDNSServiceErr_NameConflict,
            c.Register(3, "Twin", "_tesseltest._tcp", 4002, kTxt, /*NoAutoRename*/ 0x8));
}

TEST_F(Protocol, CancelAndClosingFreeTheirOperations) {
  {
    Client c(responder_->path());
    ASSERT_EQ(0, c.Register(1, "Solo", "_tesseltest._tcp", 4000, kTxt));
    EXPECT_EQ("Solo", RegisteredName(c, 1));
    c.Cancel(1);
    // The name is free again: taken without a rename.
    ASSERT_EQ(0, c.Register(2, "Solo", "_tesseltest._tcp", 4000, kTxt));
    EXPECT_EQ("Solo", RegisteredName(c, 2));
  }  // closed with the registration alive
  // Once the responder saw the close, the name is free again.
  Client next(responder_->path());
  uint32_t id = 0;
  EXPECT_TRUE(Eventually([&] {
    ++id;
    if (next.Register(id, "Solo", "_tesseltest._tcp", 4000, kTxt) != 0) return false;
    if (RegisteredName(next, id) == "Solo") return true;
    next.Cancel(id);
    return false;
  }, seconds(5)));
}

}  // namespace
}  // namespace responder_test
