// Host events become page notifications; USB messages and deep links wait
// for the page and are replayed once.
#include "TestHost.h"

using tessel_atriumclient::kPendActionDeepLink;
using tessel_atriumclient::kPendActionUSBMsg;
using testhost::ClientTest;
using testhost::Notifications;

namespace {

class HostEventsTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    client->InitHID(1);
  }
  void Ready() { Call(R"({"functionName":"reservationReady","jsCallId":"r","params":{"ready":true}})"); }
  void HID(int32_t event, std::vector<uint8_t> bytes) {
    hostsim::RaiseHIDEvent(event, bytes);
    hostsim::RunMainQueue();
  }
  std::vector<std::string> Names() {
    std::vector<std::string> out;
    for (const auto& n : Notifications()) out.push_back(n["notification"].asString());
    return out;
  }
};

TEST_F(HostEventsTest, ActivationTabAndOptionNotifications) {
  client->OnApplicationActiveChanged(0);
  client->OnApplicationActiveChanged(0);
  client->OnTabChanged(0);  // same as the initial value: nothing
  client->OnTabChanged(1);
  client->OnTabChanged(2);
  client->OnTabChanged(2);
  auto notes = Notifications();
  ASSERT_EQ(4u, notes.size());
  EXPECT_EQ(false, notes[0]["data"]["active"].asBool());
  EXPECT_EQ("onTabChanged", notes[2]["notification"].asString());
  EXPECT_EQ(true, notes[2]["data"]["active"].asBool());
  EXPECT_EQ(true, notes[3]["data"]["active"].asBool());

  hostsim::ClearWebViewScripts(L"main");
  hostsim::SetOption("web", "enable_kr_companion_audio", "true");
  hostsim::SetOption("web", "enable_kr_meeting_switch_back", "True");
  client->OnOptionsChanged();
  hostsim::SetOption("web", "enable_kr_meeting_switch_back", "true");
  client->OnOptionsChanged();
  notes = Notifications();
  ASSERT_EQ(2u, notes.size());
  EXPECT_EQ(false, notes[0]["data"]["enable"].asBool());
  EXPECT_EQ(true, notes[1]["data"]["enable"].asBool());
}

TEST_F(HostEventsTest, DeliveryInfoIsSentAtOnceEvenBeforeThePageIsReady) {
  tessel_atriumclient::AtriumDeliveryInfo info;
  info.symbology = "QR";
  info.text = "T-1";
  info.x = 4;
  info.confidence = 0.5;
  client->OnRecvDeliveryInfo("img", {info});
  client->OnRecvDeliveryInfo("", {});
  auto notes = Notifications();
  ASSERT_EQ(2u, notes.size());
  EXPECT_EQ("T-1", notes[0]["data"]["infos"][0]["text"].asString());
  EXPECT_EQ(0.5, notes[0]["data"]["infos"][0]["confidence"].asDouble());
  EXPECT_TRUE(notes[1]["data"]["infos"].isArray());
  EXPECT_EQ(0u, notes[1]["data"]["infos"].size());
}

TEST_F(HostEventsTest, TwoDeepLinksBeforeReadyGiveOneNotificationWithTheSecond) {
  client->OnRecvDeeplinkData({{"a", "1"}});
  client->OnRecvDeeplinkData({{"b", "2"}});
  EXPECT_TRUE(Notifications().empty());
  Ready();
  auto notes = Notifications();
  ASSERT_EQ(1u, notes.size());
  EXPECT_EQ(Json::Value("2"), notes[0]["data"]["b"]);
  EXPECT_FALSE(notes[0]["data"].isMember("a"));
  EXPECT_EQ(nullptr, client->FindPendAction(kPendActionDeepLink));
  client->OnRecvDeeplinkData({{"c", "3"}});  // page ready: straight through
  EXPECT_EQ(2u, Notifications().size());
}

TEST_F(HostEventsTest, ReplayOrderIsUSBThenDeepLinkAndReadyFalseCachesAgain) {
  client->OnRecvDeeplinkData({{"a", "1"}});
  HID(1, {5});
  Ready();
  EXPECT_EQ((std::vector<std::string>{"onRecvUSBMsg", "onRecvDeeplinkData"}), Names());
  CallFunction("reservationReady", R"({"ready":false})");
  HID(1, {6});
  EXPECT_EQ(2u, Notifications().size());
  EXPECT_NE(nullptr, client->FindPendAction(kPendActionUSBMsg));
}

TEST_F(HostEventsTest, HIDEventsMapToMessageTypesOnTheMainThread) {
  Ready();
  hostsim::RaiseHIDEvent(1, {1, 2});
  hostsim::RaiseHIDEvent(3, {9});  // the device library's own: nothing
  hostsim::RaiseHIDEvent(2, {});
  hostsim::RaiseHIDEvent(4, {3});
  hostsim::RaiseHIDEvent(77, {4});
  EXPECT_TRUE(Notifications().empty());  // nothing before the main queue runs
  EXPECT_EQ(4u, hostsim::RunMainQueue());
  auto notes = Notifications();
  ASSERT_EQ(4u, notes.size());
  std::vector<int> types;
  for (const auto& n : notes) types.push_back(n["data"]["message_type"].asInt());
  EXPECT_EQ((std::vector<int>{0, 1, 3, 0}), types);
  EXPECT_EQ(Json::Value(Json::arrayValue), notes[1]["data"]["message"]);
}

TEST_F(HostEventsTest, ATypeOneMessageLeavesNothingCached) {
  HID(4, {1});
  EXPECT_NE(nullptr, client->FindPendAction(kPendActionUSBMsg));
  HID(2, {2});
  EXPECT_EQ(nullptr, client->FindPendAction(kPendActionUSBMsg));
  Ready();
  EXPECT_TRUE(Notifications().empty());
}

TEST_F(HostEventsTest, TypeZeroMessagesTellTheClientUIButReplaysDoNot) {
  client->SetClientUISink(&uiSink);
  HID(1, {1});
  ASSERT_EQ(1u, hostsim::EventsOf("clientUI").size());
  EXPECT_EQ(0, hostsim::EventsOf("clientUI")[0].data["kind"].asInt());
  Ready();
  EXPECT_EQ(1u, hostsim::EventsOf("clientUI").size());
  EXPECT_EQ(1u, Notifications().size());
}

TEST_F(HostEventsTest, UninitDropsQueuedTasksAndClosesTheChannel) {
  hostsim::RaiseHIDEvent(1, {1});
  EXPECT_EQ(1u, hostsim::PendingTaskCount());
  client->Uninit();
  EXPECT_EQ(0u, hostsim::PendingTaskCount());
  EXPECT_FALSE(hostsim::HIDChannelOpen());
  EXPECT_FALSE(client->GetNearbyService()->HasNearbyRoom());
}

TEST_F(HostEventsTest, ATaskLeftQueuedPastDestructionDoesNothing) {
  hostsim::RaiseHIDEvent(1, {1});
  tessel_atriumclient::AtriumClient::Destroy();
  EXPECT_EQ(1u, hostsim::RunMainQueue());
  EXPECT_TRUE(hostsim::EventsOf("script").empty());
}

TEST_F(HostEventsTest, NoTaskManagerDropsTheMessage) {
  hostsim::SetLookupFails("tasks.manager", true);
  hostsim::RaiseHIDEvent(1, {1});
  EXPECT_EQ(0u, hostsim::PendingTaskCount());
}

}  // namespace
