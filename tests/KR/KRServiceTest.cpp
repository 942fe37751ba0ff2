// The room services as a host uses them: single instances, web views, sinks,
// registration with the room controller, and failed host look-ups.
#include "KR/RoomTestSupport.h"

using namespace roomtest;
using namespace tessel_atriumclient;

namespace {

class ServiceTest : public RoomTest {};

TEST_F(ServiceTest, SingleInstancesComeAndGo) {
  EXPECT_EQ(pt, KRServicePT::GetInstance());
  EXPECT_EQ(conf, KRServiceConf::GetInstance());
  EXPECT_NE(static_cast<KRServiceBase*>(pt), static_cast<KRServiceBase*>(conf));
  KRServicePT::Destroy();
  KRServicePT::Destroy();
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(kMainView));  // the view no longer calls it
  pt = KRServicePT::GetInstance();
  EXPECT_TRUE(pt->WebViews().empty());
  EXPECT_EQ(0u, pt->GetPairState());
  KRServiceConf::Destroy();
  KRServiceConf::Destroy();
  conf = KRServiceConf::GetInstance();
  EXPECT_TRUE(conf->EventSinks().empty());
}

TEST_F(ServiceTest, WebViewsAttachOnceAndOnlyAttachedViewsCall) {
  hostsim::CreateWebView(L"other");
  pt->AttachWebView(kMainView);
  pt->AttachWebView(L"missing");
  EXPECT_EQ(std::vector<Kit::CStringW>{kMainView}, pt->WebViews());
  EXPECT_EQ(1u, hostsim::WebViewSinkCount(kMainView));
  pt->DetachWebView(L"other");
  EXPECT_EQ(1u, pt->WebViews().size());

  const std::wstring call = LR"({"functionName":"getRoomInfo","jsCallId":"1"})";
  EXPECT_TRUE(hostsim::PostJsMessage(kMainView, call));
  EXPECT_FALSE(hostsim::PostJsMessage(L"other", call));
  EXPECT_TRUE(hostsim::WebViewScripts(L"other").empty());

  // A second page in the main window gets the notifications too, after the first.
  pt->AttachWebView(L"other");
  Forget();
  pt->Rooms().pair.Pair();
  EXPECT_EQ(1u, NotificationData(kMainView, "onUpdatePairStatus").size());
  EXPECT_EQ(1u, NotificationData(L"other", "onUpdatePairStatus").size());
  pt->DetachWebView(kMainView);
  EXPECT_EQ(std::vector<Kit::CStringW>{L"other"}, pt->WebViews());
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(kMainView));
  EXPECT_FALSE(hostsim::PostJsMessage(kMainView, call));
}

TEST_F(ServiceTest, EventSinksKeepOneEntryEachInOrder) {
  RecordingRoomSinks second;
  second.prefix = "2:";
  mainSinks.prefix = "1:";
  pt->AddEventSink(&second);
  pt->AddEventSink(&mainSinks);
  pt->AddEventSink(&second);
  pt->RemoveEventSink(nullptr);
  EXPECT_EQ(2u, pt->EventSinks().size());
  Forget();
  pt->Rooms().pair.PairWithSharingKey(L"ABCDEF");
  std::vector<std::string> statuses;
  for (const auto& c : mainSinks.calls)
    if (c.find("status") != std::string::npos) statuses.push_back(c);
  for (const auto& c : second.calls)
    if (c.find("status") != std::string::npos) statuses.push_back(c);
  EXPECT_EQ((std::vector<std::string>{"1:status 2", "2:status 2"}), statuses);
  pt->RemoveEventSink(&mainSinks);
  EXPECT_EQ(std::vector<IKRServiceEventSink*>{&second}, pt->EventSinks());
}

TEST_F(ServiceTest, OnlyTheMainApplicationRegistersWithTheRoomController) {
  // Pairing, meeting, apps and whiteboard handlers of the main service.
  EXPECT_EQ(4u, hostsim::RoomSinkCount());
  EXPECT_EQ(4u, hostsim::EventsOf("krRegister").size());
  EXPECT_EQ(1, pt->Rooms().pair.IsMainAppSide());
  EXPECT_EQ(0, conf->Rooms().pair.IsMainAppSide());
  // Room-controller events reach only the main half, and the meeting half through it.
  PairFromMeetingWindow();
  conf->Rooms().pair.OnConnectionLost(3);  // a meeting half never acts on these itself
  EXPECT_EQ(6u, conf->GetPairState());
  KRServicePT::Destroy();
  EXPECT_EQ(0u, hostsim::RoomSinkCount());
  pt = KRServicePT::GetInstance();
}

TEST_F(ServiceTest, StartPairShowsThePairedRoomFirst) {
  PairFromMeetingWindow();
  Forget();
  EXPECT_EQ(1u, pt->StartPair(1));
  EXPECT_EQ(std::wstring(kRoomJid), pt->PairKey());
  ASSERT_FALSE(mainSinks.calls.empty());
  EXPECT_EQ("pairPage 1", mainSinks.calls.front());
  const auto visible = NotificationData(kMainView, "updateUIVisible");
  ASSERT_FALSE(visible.empty());
  EXPECT_EQ("pair", visible.front()["page"].asString());
  EXPECT_TRUE(visible.front()["visible"].asBool());
  EXPECT_TRUE(hostsim::EventsOf("krPairRequest").empty());

  Forget();
  EXPECT_EQ(1u, pt->ResetPair());
  EXPECT_TRUE(pt->PairKey().empty());
  EXPECT_EQ((std::vector<std::string>{"pairPage 0", "actionPage 0 0"}), mainSinks.calls);
  EXPECT_EQ(6u, pt->GetPairState());  // resetting the page does not unpair
}

TEST_F(ServiceTest, MissingHostPartsSkipTheirStepsQuietly) {
  hostsim::SetLookupFails("ptapp.roomcontroller", true);
  EXPECT_EQ(0, pt->Rooms().pair.PairWithSharingKey(L"ABCDEF"));
  EXPECT_EQ(4u, pt->GetPairState());
  EXPECT_EQ(99, NotificationData(kMainView, "onUpdatePairStatus").back()["code"].asInt());
  hostsim::SetLookupFails("ptapp.roomcontroller", false);

  hostsim::SetLookupFails("ptapp.webservice", true);
  EXPECT_EQ(0, pt->Rooms().pair.ListPersonalRooms());
  hostsim::SetLookupFails("ptapp.webservice", false);

  // The meeting process cannot reach its twin: its requests are lost, nothing else.
  Forget();
  hostsim::SetPeerUnavailable(hostsim::Side::Meeting, true);
  EXPECT_EQ(1, conf->Rooms().pair.PairWithSharingKey(L"ABCDEF"));
  Pump();
  EXPECT_TRUE(hostsim::EventsOf("krPairRequest").empty());
  EXPECT_EQ(4u, conf->GetPairState());

  // Without the main-application module the main half pairs with nothing.
  hostsim::SetLookupFails("com.tesselus.module.PTApp", true);
  Forget();
  pt->Rooms().pair.Cancel();
  EXPECT_EQ(0, pt->Rooms().pair.PairWithRoomJid(kRoomJid));
  EXPECT_TRUE(hostsim::EventsOf("roomMessage").empty());
}

}  // namespace
