// Browse, resolve and address look-up against the scripted library, with
// replies arriving on the layer's own event thread.
#include <netinet/in.h>
#include <sys/socket.h>

#include <thread>

#include "ScriptedControl.h"
#include "dnssd_discovery.h"

using layertest::Report;

namespace {

const char kType[] = "_tesselrooms._tcp";
const std::string kTxt("\x07" "code=42" "\x04" "flag", 13);

class DiscoveryTest : public layertest::ScriptedTest {
 protected:
  // Queues a resolve reply for `name` (looked up in the "local" domain) and
  // waits until the layer has processed it.
  void ResolveReply(const char* name, const char* hosttarget, DNSServiceErrorType error = 0) {
    const std::string full = dnssd_discovery::full_name(name, kType, "local");
    ASSERT_EQ(0, s->resolve_reply_for(name, kType, "", 0, 1, error, full.c_str(), hosttarget,
                                      8080, kTxt.data(), static_cast<uint16_t>(kTxt.size())));
    ASSERT_EQ(1, s->wait_idle(5000));
  }
  void AddrReply(DNSServiceFlags flags, int family, const char* address) {
    ASSERT_EQ(0, s->addr_reply(nullptr, flags, 1, 0, "room-a.local.", family, address, 120));
    ASSERT_EQ(1, s->wait_idle(5000));
  }
};

TEST_F(DiscoveryTest, BrowseReportsEachInstanceOnceOnTheLayersThread) {
  dnssd_discovery discovery(&sink);
  ASSERT_TRUE(discovery.connected());
  ASSERT_TRUE(discovery.start(kType, ""));
  EXPECT_FALSE(discovery.start(kType, ""));  // one browse at a time
  const auto args = s->Last("DNSServiceBrowse");
  EXPECT_EQ(0x4000u, args.flags);
  EXPECT_EQ(0u, args.interface_index);
  EXPECT_TRUE(args.has_domain && args.domain[0] == '\0');

  s->browse_reply(nullptr, kDNSServiceFlagsAdd, 1, 0, "Room A", "_tesselrooms._tcp.", "local.");
  s->browse_reply(nullptr, kDNSServiceFlagsAdd, 2, 0, "Room A", "_tesselrooms._tcp.", "local.");
  s->browse_reply(nullptr, kDNSServiceFlagsAdd, 1, -65537, "Broken", "_tesselrooms._tcp.", "local.");
  s->browse_reply(nullptr, 0, 1, 0, "Room Z", "_tesselrooms._tcp.", "local.");  // never added
  s->browse_reply(nullptr, 0, 1, 0, "Room A", "_tesselrooms._tcp.", "local.");
  ASSERT_EQ(1, s->wait_idle(5000));
  const auto reports = sink.WaitFor(2);
  ASSERT_EQ(2u, reports.size());
  EXPECT_TRUE(reports[0].flag);
  EXPECT_EQ("Room A", reports[0].name);
  EXPECT_EQ("local.", reports[0].domain);
  EXPECT_FALSE(reports[1].flag);
  EXPECT_NE(std::this_thread::get_id(), reports[0].thread);
  EXPECT_TRUE(layertest::LoggedPrefix("[bonjour] browse callback: 2, 1, 0, Room A, _tesselrooms._tcp., local., 0x"));
}

TEST_F(DiscoveryTest, ResolveLooksEveryAddressUpAndEndsWithTheBatch) {
  dnssd_discovery discovery(&sink);
  discovery.resolve("Room A", kType, "");
  const auto resolveArgs = s->Last("DNSServiceResolve");
  EXPECT_TRUE(resolveArgs.has_domain && resolveArgs.domain[0] == '\0');  // not "local"
  EXPECT_EQ(0x4000u, resolveArgs.flags);

  ResolveReply("Room A", "room-a.local.");
  const auto lookup = s->Last("DNSServiceGetAddrInfo");
  EXPECT_STREQ("room-a.local.", lookup.hostname);
  EXPECT_EQ(3u, lookup.protocol);
  EXPECT_EQ(0, s->live_refs_of("DNSServiceResolve"));  // one answer per resolve

  // A failed answer is dropped without a word and ends nothing.
  ASSERT_EQ(0, s->addr_reply(nullptr, kDNSServiceFlagsMoreComing, 1, kDNSServiceErr_Unknown,
                             "room-a.local.", AF_INET, "192.0.2.1", 120));
  ASSERT_EQ(1, s->wait_idle(5000));
  AddrReply(kDNSServiceFlagsMoreComing, AF_INET, "192.0.2.7");
  AddrReply(0, AF_INET6, "2001:db8::7");
  const auto reports = sink.WaitFor(2);
  ASSERT_EQ(2u, reports.size());
  for (const Report& r : reports) {
    EXPECT_EQ("Room A", r.name);
    EXPECT_EQ("room-a", r.host);
    EXPECT_EQ(8080, r.port);
    EXPECT_EQ((txt_entries{{"code", "42"}, {"flag", ""}}), r.txt);
  }
  EXPECT_EQ("192.0.2.7", reports[0].address);
  EXPECT_TRUE(reports[0].flag);
  EXPECT_EQ("2001:db8::7", reports[1].address);
  EXPECT_FALSE(reports[1].flag);
  EXPECT_EQ(0, s->live_refs_of("DNSServiceGetAddrInfo"));
  EXPECT_TRUE(layertest::LoggedPrefix(
      "[bonjour] get addr callback: 0, 1, 0, room-a.local., 2001:db8::7, 0, 120, 0x"));
}

TEST_F(DiscoveryTest, ResolveFailuresAndStrayRepliesAreReportedOrLogged) {
  dnssd_discovery discovery(&sink);
  ASSERT_EQ(0, s->fail_next("DNSServiceResolve", kDNSServiceErr_BadParam));
  discovery.resolve("Room B", kType, "");
  EXPECT_TRUE(layertest::Logged("[bonjour] error: resolve service (Room B, _tesselrooms._tcp, ) failed, -65540"));

  discovery.resolve("Room C", kType, "local");
  ResolveReply("Room C", "room-c.", kDNSServiceErr_Unknown);  // a host of one label
  const auto reports = sink.WaitFor(2);
  ASSERT_EQ(2u, reports.size());
  EXPECT_EQ(kDNSServiceErr_BadParam, reports[0].error);
  EXPECT_EQ(kDNSServiceErr_Unknown, reports[1].error);
  EXPECT_EQ("", reports[1].host);
  EXPECT_EQ(8080, reports[1].port);
  EXPECT_EQ("42", reports[1].txt.at("code"));

  // A reply for a name nobody resolves, and an address after the batch ended.
  discovery.resolve("Room D", kType, "");
  const std::string stray = dnssd_discovery::full_name("Nobody", kType, "local");
  s->resolve_reply(nullptr, 0, 1, 0, stray.c_str(), "x.local.", 1, nullptr, 0);
  ASSERT_EQ(1, s->wait_idle(5000));
  EXPECT_TRUE(layertest::Logged("[bonjour] warning! can not find " + stray));
}

TEST_F(DiscoveryTest, AnAddressAfterItsBatchIsLoggedAndAStopWithoutBrowseKeepsResolves) {
  dnssd_discovery discovery(&sink);
  discovery.resolve("Room A", kType, "");
  ResolveReply("Room A", "room-a.local.");
  const DNSServiceRef lookup = s->find_ref("DNSServiceGetAddrInfo", nullptr);
  ASSERT_NE(nullptr, lookup);
  AddrReply(0, AF_INET, "192.0.2.7");  // no "more coming": the batch, and the look-up, end
  EXPECT_EQ(1u, sink.WaitFor(1).size());
  // A library that still answers for a reference that ended is logged, not reported.
  sockaddr_in address{};
  address.sin_family = AF_INET;
  dnssd_discovery::getAddrInfoCallback(lookup, 0, 1, 0, "room-a.local.",
                                       reinterpret_cast<sockaddr*>(&address), 1, &discovery);
  EXPECT_TRUE(layertest::Logged("[bonjour] error: can get service's addinfo"));
  EXPECT_EQ(1u, sink.Reports().size());

  discovery.resolve("Room A", kType, "");
  ResolveReply("Room A", "room-a.local.");
  discovery.stop();  // no browse runs: the resolve is left alone
  AddrReply(0, AF_INET, "192.0.2.9");
  EXPECT_EQ(2u, sink.WaitFor(2).size());
}

TEST_F(DiscoveryTest, BrowseFailureAndStopSemantics) {
  dnssd_discovery discovery(&sink);
  ASSERT_EQ(0, s->fail_next("DNSServiceBrowse", kDNSServiceErr_NoMemory));
  EXPECT_FALSE(discovery.start(kType, "local"));
  EXPECT_TRUE(layertest::Logged("[bonjour] error: browse service (_tesselrooms._tcp, local) failed, -65539"));
  auto reports = sink.WaitFor(1);
  ASSERT_EQ(1u, reports.size());
  EXPECT_FALSE(reports[0].flag);
  EXPECT_EQ(kDNSServiceErr_NoMemory, reports[0].error);

  // A browse removal ends a resolve of the same instance; a stop ends them all.
  ASSERT_TRUE(discovery.start(kType, ""));
  s->browse_reply(nullptr, kDNSServiceFlagsAdd, 1, 0, "Room A", kType, "local");
  ASSERT_EQ(1, s->wait_idle(5000));
  discovery.resolve("Room A", kType, "local");
  ResolveReply("Room A", "room-a.local.");
  EXPECT_EQ(1, s->live_refs_of("DNSServiceGetAddrInfo"));
  s->browse_reply(nullptr, 0, 1, 0, "Room A", kType, "local");
  ASSERT_EQ(1, s->wait_idle(5000));
  EXPECT_EQ(0, s->live_refs_of("DNSServiceGetAddrInfo"));
  discovery.stop();
  EXPECT_EQ(0, s->live_refs_of("DNSServiceBrowse"));
  EXPECT_TRUE(discovery.start(kType, ""));  // a browse can start again
}

TEST_F(DiscoveryTest, ADaemonThatClosesItsSocketEndsTheThread) {
  dnssd_discovery discovery(&sink);
  for (int i = 0; i < 2500 && !discovery.event_loop_running(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  ASSERT_TRUE(discovery.event_loop_running());
  const int before = s->calls("DNSServiceProcessResult");
  ASSERT_EQ(0, s->close_daemon_side(nullptr));
  for (int i = 0; i < 2500 && discovery.event_loop_running(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_FALSE(discovery.event_loop_running());
  EXPECT_EQ(before, s->calls("DNSServiceProcessResult"));
  EXPECT_TRUE(discovery.thread_running());  // ended by itself, joined only at stop
}

TEST_F(DiscoveryTest, AConnectionIsRetriedUntilTheDaemonAnswers) {
  s->fail_create_connection(kDNSServiceErr_ServiceNotRunning, 2);
  dnssd_discovery discovery(&sink);
  EXPECT_TRUE(discovery.connected());
  EXPECT_EQ(3, s->calls("DNSServiceCreateConnection"));
  EXPECT_TRUE(layertest::LoggedPrefix("[bonjour] construct dnssd discovery, "));
}

}  // namespace
