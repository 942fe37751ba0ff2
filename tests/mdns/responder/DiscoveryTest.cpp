// Two responders on one loopback: what one publishes, the other finds.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <unistd.h>

#include <cstring>

#include "bonjour/dnssd_types.h"
#include "test_client.h"

namespace responder_test {
namespace {

using std::chrono::seconds;

const char kType[] = "_tesselrooms._tcp";

class Discovery : public testing::Test {
 protected:
  void SetUp() override {
    REQUIRE_PRIVATE_NETWORK();
    publisher_ = std::make_unique<RunningResponder>(TempSocket("publisher.sock"));
    finder_ = std::make_unique<RunningResponder>(TempSocket("finder.sock"));
  }

  // The next browse event for name: +1 added, -1 removed, 0 none in time.
  static int BrowseEvent(Client& c, uint32_t id, const std::string& name,
                         std::chrono::milliseconds within = seconds(10)) {
    const auto until = std::chrono::steady_clock::now() + within;
    while (std::chrono::steady_clock::now() < until) {
      auto reply = c.Await(mdns_wire::kBrowseReply, id,
                           std::chrono::duration_cast<std::chrono::milliseconds>(
                               until - std::chrono::steady_clock::now()));
      if (!reply) break;
      auto f = Parse(*reply, "iiittt");
      if (!f) return 0;
      EXPECT_EQ(0u, f->ints[2]);
      EXPECT_EQ(std::string(kType) + ".", f->texts[1]);
      EXPECT_EQ("local.", f->texts[2]);
      if (f->texts[0] == name) return (f->ints[0] & kDNSServiceFlagsAdd) ? 1 : -1;
    }
    return 0;
  }

  static std::string Registered(Client& c, uint32_t id, uint32_t* error = nullptr) {
    auto reply = c.Await(mdns_wire::kRegisterReply, id);
    if (!reply) return "(no reply)";
    auto f = Parse(*reply, "iiittt");
    if (!f) return "(malformed)";
    if (error) *error = f->ints[2];
    return f->texts[0];
  }

  std::unique_ptr<RunningResponder> publisher_, finder_;
};

TEST_F(Discovery, RegisteredServiceIsBrowsedResolvedAddressedAndWithdrawn) {
  Client pub(publisher_->path()), find(finder_->path());
  ASSERT_TRUE(pub.connected() && find.connected());
  const std::vector<uint8_t> txt = {8, 'r', 'o', 'o', 'm', '=', 'A', '.', '1', 3, 'k', '2', '='};
  ASSERT_EQ(0, pub.Register(1, "Room A.1", kType, 4242, txt));
  ASSERT_EQ("Room A.1", Registered(pub, 1));

  ASSERT_EQ(0, find.Browse(10, kType, "local."));
  ASSERT_EQ(1, BrowseEvent(find, 10, "Room A.1"));

  ASSERT_EQ(0, find.Resolve(11, "Room A.1", std::string(kType) + ".", "local."));
  auto resolved = find.Await(mdns_wire::kResolveReply, 11);
  ASSERT_TRUE(resolved);
  auto r = Parse(*resolved, "iiittib");
  ASSERT_TRUE(r);
  EXPECT_EQ(0u, r->ints[2]);
  EXPECT_EQ("Room A\\.1._tesselrooms._tcp.local.", r->texts[0]);
  const std::string host = r->texts[1];
  EXPECT_EQ(".local.", host.substr(host.size() - std::min<std::size_t>(host.size(), 7)));
  EXPECT_EQ(4242u, r->ints[3]);
  EXPECT_EQ(txt, r->blobs[0]);
  find.Cancel(11);

  // The publisher's host addresses: loopback's, on loopback.
  ASSERT_EQ(0, find.GetAddr(12, 0, host));
  bool v4 = false, v6 = false;
  while (!(v4 && v6)) {
    auto reply = find.Await(mdns_wire::kAddrReply, 12);
    ASSERT_TRUE(reply) << "v4 " << v4 << " v6 " << v6;
    auto a = Parse(*reply, "iiitibi");
    ASSERT_TRUE(a);
    EXPECT_EQ(kDNSServiceFlagsAdd, a->ints[0]);
    EXPECT_EQ(if_nametoindex("lo"), a->ints[1]);
    EXPECT_EQ(0u, a->ints[2]);
    EXPECT_EQ(host, a->texts[0]);
    EXPECT_GT(a->ints[4], 0u);  // TTL
    if (a->ints[3] == 4) {
      const std::vector<uint8_t> loopback = {127, 0, 0, 1};
      EXPECT_EQ(loopback, a->blobs[0]);
      v4 = true;
    } else {
      ASSERT_EQ(6u, a->ints[3]);
      std::vector<uint8_t> loopback(16);
      loopback[15] = 1;
      EXPECT_EQ(loopback, a->blobs[0]);
      v6 = true;
    }
  }

  // A look-up for one family gets that family alone.
  ASSERT_EQ(0, find.GetAddr(13, kDNSServiceProtocol_IPv6, host));
  auto only6 = find.Await(mdns_wire::kAddrReply, 13);
  ASSERT_TRUE(only6);
  EXPECT_EQ(6u, Parse(*only6, "iiitibi")->ints[3]);
  EXPECT_FALSE(find.Await(mdns_wire::kAddrReply, 13, std::chrono::milliseconds(1500)));

  // Withdrawn: the browse reports the removal, the address look-up the
  // host's addresses going with the last registration.
  pub.Cancel(1);
  EXPECT_EQ(-1, BrowseEvent(find, 10, "Room A.1"));
  auto gone = find.Await(mdns_wire::kAddrReply, 12);
  ASSERT_TRUE(gone);
  EXPECT_EQ(0u, Parse(*gone, "iiitibi")->ints[0]);
}

TEST_F(Discovery, ABrowsingResponderPublishesNoAddresses) {
  Client browsing(publisher_->path()), asking(finder_->path());
  ASSERT_EQ(0, browsing.Browse(1, kType));
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  std::string host = name;
  host = host.substr(0, host.find('.')) + ".local.";
  ASSERT_EQ(0, asking.GetAddr(2, 0, host));
  EXPECT_FALSE(asking.Await(mdns_wire::kAddrReply, 2, seconds(3)));

  // A registration brings the host's addresses.
  ASSERT_EQ(0, browsing.Register(3, "Lone", kType, 1, {}));
  ASSERT_EQ("Lone", Registered(browsing, 3));
  EXPECT_TRUE(asking.Await(mdns_wire::kAddrReply, 2));
}

TEST_F(Discovery, NamesTakenOnTheNetworkAreRenamedOrRefused) {
  Client first(publisher_->path()), second(finder_->path());
  ASSERT_EQ(0, first.Register(1, "Clash", kType, 1, {}));
  ASSERT_EQ("Clash", Registered(first, 1));

  ASSERT_EQ(0, second.Register(2, "Clash", kType, 2, {}));
  uint32_t error = 1;
  EXPECT_EQ("Clash #2", Registered(second, 2, &error));
  EXPECT_EQ(0u, error);

  ASSERT_EQ(0, second.Register(3, "Clash", kType, 3, {}, /*NoAutoRename*/ 0x8));
  Registered(second, 3, &error);
  EXPECT_EQ(static_cast<uint32_t>(kDNSServiceErr_NameConflict), error);
}

}  // namespace
}  // namespace responder_test
