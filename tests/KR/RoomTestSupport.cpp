#include "KR/RoomTestSupport.h"

#include "TestHost.h"

namespace roomtest {

hostsim::SimRoom StandardRoom() {
  hostsim::SimRoom room;
  room.name = L"Atlas";
  room.jid = kRoomJid;
  room.sharingKey = L"ABCDEF";
  room.nearby = true;
  room.featureList["supports_join_meeting"] = 1;
  room.account["is_pkr"] = 1;
  room.account["is_valid"] = 1;
  return room;
}

std::vector<Json::Value> Notifications(const std::wstring& view) {
  return testhost::Notifications(view);
}

std::vector<Json::Value> NotificationData(const std::wstring& view, const std::string& name) {
  std::vector<Json::Value> out;
  for (const Json::Value& n : Notifications(view))
    if (n["notification"].asString() == name) out.push_back(n["data"]);
  return out;
}

std::vector<Json::Value> RoomMessages() {
  std::vector<Json::Value> out;
  for (const hostsim::SimEvent& e : hostsim::EventsOf("roomMessage")) {
    Json::Value m = testhost::ParseJson(e.data["text"].asString());
    m["to"] = e.data["to"];
    out.push_back(m);
  }
  return out;
}

std::vector<int> RoomMessageTypes(const std::string& to) {
  std::vector<int> out;
  for (const Json::Value& m : RoomMessages())
    if (m["to"].asString() == to) out.push_back(m["type"].asInt());
  return out;
}

void RoomTest::SetUp() {
  hostsim::Reset();
  hostsim::AddRoom(StandardRoom());
  hostsim::CreateWebView(kMainView);
  hostsim::CreateWebView(kMeetingView);
  pt = tessel_atriumclient::KRServicePT::GetInstance();
  conf = tessel_atriumclient::KRServiceConf::GetInstance();
  pt->AttachWebView(kMainView);
  conf->AttachWebView(kMeetingView);
  mainSinks.calls.clear();
  meetingSinks.calls.clear();
  pt->SetHostSink(&mainSinks);
  pt->AddEventSink(&mainSinks);
  conf->SetHostSink(&meetingSinks);
  conf->AddEventSink(&meetingSinks);
  hostsim::SetRoomMessageReceiver(hostsim::Side::Main,
                                  [this](const std::string& text) { pt->OnRoomMessage(text); });
  hostsim::SetRoomMessageReceiver(hostsim::Side::Meeting,
                                  [this](const std::string& text) { conf->OnRoomMessage(text); });
  hostsim::SetPairAnswerHandler([this](const tesselus::KRCPairAnswer& answer) {
    pt->OnPairResult(answer.requestId, 0, answer);
  });
}

void RoomTest::TearDown() {
  hostsim::SetRoomMessageReceiver(hostsim::Side::Main, nullptr);
  hostsim::SetRoomMessageReceiver(hostsim::Side::Meeting, nullptr);
  hostsim::SetPairAnswerHandler(nullptr);
  tessel_atriumclient::KRServicePT::Destroy();
  tessel_atriumclient::KRServiceConf::Destroy();
  hostsim::Reset();
}

void RoomTest::Pump() {
  for (int i = 0; i < 100 && hostsim::RunMainQueue() != 0; ++i) {
  }
}

Json::Value RoomTest::Call(const std::wstring& view, const std::string& function,
                           const std::string& paramsJson) {
  std::string text = "{\"functionName\":\"" + function + "\",\"jsCallId\":\"c9\"";
  if (!paramsJson.empty()) text += ",\"params\":" + paramsJson;
  text += "}";
  const std::size_t before = testhost::Payloads(view).size();
  hostsim::PostJsMessage(view, Kit::kit_str_convert::Utf8ToWide(text));
  const std::vector<Json::Value> all = testhost::Payloads(view);
  for (std::size_t i = before; i < all.size(); ++i)
    if (all[i]["jsCallId"].asString() == "c9") return all[i]["result"];
  return Json::Value();
}

void RoomTest::PairFromMeetingWindow() {
  Call(kMeetingView, "pairWithSharingKey", R"({"sharingKey":"ab-cd-ef"})");
  Pump();
  ASSERT_FALSE(hostsim::PairRequests().empty());
  ASSERT_TRUE(hostsim::AnswerPairRequest(hostsim::PairRequests().back().id));
  Pump();
  ASSERT_TRUE(hostsim::FinishPairing(0));
  Pump();
  ASSERT_EQ(6u, pt->GetPairState());
  ASSERT_EQ(6u, conf->GetPairState());
}

void RoomTest::Forget() {
  mainSinks.calls.clear();
  meetingSinks.calls.clear();
  hostsim::ClearWebViewScripts(kMainView);
  hostsim::ClearWebViewScripts(kMeetingView);
  hostsim::ClearEvents();
}

}  // namespace roomtest
