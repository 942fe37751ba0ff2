// The layer's face: users, registrations, browsing, and the own responder
// that runs while any user lives.
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <thread>

#include "ScriptedControl.h"
#include "bonjour_service.h"
#include "cpt_bonjour.h"
#include "dnssd_discovery.h"

namespace {

class FacadeTest : public layertest::ScriptedTest {};

TEST_F(FacadeTest, TheOwnResponderRunsFromTheFirstUserToTheLast) {
  const int starts = s->responder_start_calls();
  const int stops = s->responder_stop_calls();
  std::unique_ptr<cpt_bonjour> first(create_cpt_bonjour());
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(1, bonjour_service::instance().refcount());
  EXPECT_TRUE(layertest::Logged("[bonjour] bonjour service is not running."));
  EXPECT_TRUE(layertest::Logged("[bonjour] start own bonjour service"));
  std::unique_ptr<cpt_bonjour> second(create_cpt_bonjour());
  EXPECT_EQ(2, bonjour_service::instance().refcount());
  EXPECT_TRUE(layertest::Logged("[bonjour] bonjour_service::start, refcount: 2"));
  first.reset();
  EXPECT_EQ(stops, s->responder_stop_calls());
  second.reset();
  EXPECT_EQ(starts + 1, s->responder_start_calls());
  EXPECT_EQ(stops + 1, s->responder_stop_calls());
  EXPECT_EQ(0, s->responder_running());
  EXPECT_FALSE(bonjour_service::instance().responder_loaded());
  EXPECT_TRUE(layertest::Logged("[bonjour] stop own bonjour service"));
  EXPECT_TRUE(layertest::Logged("[bonjour] bonjour_service::stop, refcount: 0"));
}

TEST_F(FacadeTest, RegistrationsLiveUntilUnregisteredOrTheUserGoes) {
  std::unique_ptr<cpt_bonjour> bonjour(create_cpt_bonjour());
  bonjour->set_sink(&sink);
  dns_service_record record;
  record.name = "Room A";
  record.type = "_tesselrooms._tcp";
  record.port = 9;
  record.txt = {{"code", "7"}};
  service_handle a = bonjour->register_service(record);
  ASSERT_NE(nullptr, a);
  uint16_t length = 99;
  EXPECT_EQ(nullptr, bonjour->get_txt_record(nullptr, &length));
  EXPECT_EQ(99, length);
  ASSERT_NE(nullptr, bonjour->get_txt_record(a, &length));
  EXPECT_EQ(7, length);

  // A register that the daemon refuses once is tried again and published.
  s->fail_next("DNSServiceRegister", kDNSServiceErr_BadParam);
  record.name = "Room B";
  service_handle b = bonjour->register_service(record);
  ASSERT_NE(nullptr, b);
  EXPECT_EQ(3, s->calls("DNSServiceRegister"));
  EXPECT_EQ(2, s->live_refs_of("DNSServiceRegister"));

  bonjour->unregister_service(reinterpret_cast<service_handle>(&record));  // not ours
  bonjour->unregister_service(nullptr);
  EXPECT_EQ(2, s->live_refs_of("DNSServiceRegister"));
  bonjour->unregister_service(a);
  EXPECT_EQ(1, s->live_refs_of("DNSServiceRegister"));
  bonjour.reset();  // takes Room B with it
  EXPECT_EQ(0, s->live_refs_of("DNSServiceRegister"));
}

TEST_F(FacadeTest, BrowsingAgainRestartsTheBrowseAndResolvesShareItsConnection) {
  std::unique_ptr<cpt_bonjour> bonjour(create_cpt_bonjour());
  bonjour->set_sink(&sink);
  bonjour->start_browse_service("_tesselrooms._tcp", "");
  bonjour->start_browse_service("_tesselrooms._tcp", "");
  EXPECT_EQ(2, s->calls("DNSServiceBrowse"));
  EXPECT_EQ(1, s->live_refs_of("DNSServiceBrowse"));
  bonjour->resolve_service("Room A", "_tesselrooms._tcp", "local.");
  EXPECT_EQ(1, s->calls("DNSServiceCreateConnection"));
  EXPECT_TRUE(layertest::LoggedPrefix("[bonjour] set bonjour sink: 0x"));
  bonjour->stop_browse_service();
  EXPECT_EQ(0, s->live_refs_of("DNSServiceBrowse"));
}

TEST_F(FacadeTest, ARoomIsBrowsedResolvedAndLookedUpThroughTheFacade) {
  std::unique_ptr<cpt_bonjour> bonjour(create_cpt_bonjour());
  bonjour->set_sink(&sink);
  bonjour->start_browse_service("_tesselrooms._tcp", "");
  ASSERT_EQ(0, s->browse_reply(nullptr, kDNSServiceFlagsAdd, 1, 0, "Room A", "_tesselrooms._tcp.", "local."));
  ASSERT_EQ(1, s->wait_idle(5000));
  ASSERT_EQ(1u, sink.WaitFor(1).size());
  bonjour->resolve_service("Room A", "_tesselrooms._tcp.", "local.");
  const std::string txt("\x07" "code=42", 8);
  const std::string full = dnssd_discovery::full_name("Room A", "_tesselrooms._tcp.", "local.");
  ASSERT_EQ(0, s->resolve_reply(nullptr, 0, 1, 0, full.c_str(), "room-a.local.", 443, txt.data(), 8));
  ASSERT_EQ(1, s->wait_idle(5000));
  ASSERT_EQ(0, s->addr_reply(nullptr, 0, 1, 0, "room-a.local.", AF_INET, "192.0.2.10", 60));
  ASSERT_EQ(1, s->wait_idle(5000));
  const auto reports = sink.WaitFor(2);
  ASSERT_EQ(2u, reports.size());
  const layertest::Report& room = reports[1];
  EXPECT_EQ("resolve", room.kind);
  EXPECT_EQ("room-a", room.host);
  EXPECT_EQ("192.0.2.10", room.address);
  EXPECT_EQ(443, room.port);
  EXPECT_EQ("42", room.txt.at("code"));
  EXPECT_NE(std::this_thread::get_id(), room.thread);
  EXPECT_EQ(reports[0].thread, room.thread);  // one event thread for the whole discovery
}

TEST(FacadeNoStart, AResponderWithoutItsStartStillLetsUsersIn) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        layertest::InstallLogger();
        platform::testing::SetSystemClientLibrary("/nonexistent/libdns_sd.so.1");
        platform::testing::SetModuleDirectory(layertest::Layout("nostart"));
        cpt_bonjour* bonjour = create_cpt_bonjour();
        if (!bonjour || !layertest::LoggedPrefix("[bonjour] load mdnsresponder.dll, 0x")) std::_Exit(2);
        if (layertest::Logged("[bonjour] start own bonjour service")) std::_Exit(3);
        delete bonjour;
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
