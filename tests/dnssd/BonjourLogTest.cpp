#include <gtest/gtest.h>

#include "LayerTestSupport.h"
#include "dnssd_discovery.h"

namespace {

TEST(BonjourLog, PrefixesAndCutsAt1024Characters) {
  set_bonjour_logger(nullptr);
  bonjour_log("f", "g", "%s", "dropped: no logger");
  layertest::InstallLogger();
  layertest::ClearLogs();
  bonjour_log("as/Common/bonjour/dns_service", "dns_service::publish", "publish service, %s, %d",
              "room", 7);
  const std::string longText(3000, 'x');
  bonjour_log("f", "g", "%s", longText.c_str());
  auto logs = layertest::Logs();
  ASSERT_EQ(2u, logs.size());
  EXPECT_EQ("as/Common/bonjour/dns_service", logs[0].file);
  EXPECT_EQ("dns_service::publish", logs[0].function);
  EXPECT_EQ("[bonjour] publish service, room, 7", logs[0].message);
  EXPECT_EQ("[bonjour] " + std::string(1024, 'x'), logs[1].message);
  set_bonjour_logger(nullptr);
}

TEST(HostShortening, CutsTheLastLabelAndKeepsNothingOfASingleLabel) {
  EXPECT_EQ("room-7", dnssd_discovery::short_host("room-7.local."));
  EXPECT_EQ("room-7.floor2", dnssd_discovery::short_host("room-7.floor2.local."));
  EXPECT_EQ("", dnssd_discovery::short_host("room-7."));
  EXPECT_EQ("", dnssd_discovery::short_host(""));
}

}  // namespace
