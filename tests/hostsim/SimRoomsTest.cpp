// The simulated host's room side: controller, relay and web service, as the
// room service's tests rely on them.
#include <gtest/gtest.h>
#include <json/reader.h>

#include <memory>
#include <string>
#include <vector>

#include "ConfApp/IConfAppAPI.h"
#include "hostsim/SimHost.h"
#include "hostsim/SimRooms.h"
#include "Kit/KitMQ.h"
#include "PTApp/INWPTAppAPI.h"

namespace {

using hostsim::Side;

Json::Value Parse(const std::string& text) {
  Json::Value v;
  std::unique_ptr<Json::CharReader> r(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(r->parse(text.data(), text.data() + text.size(), &v, nullptr)) << text;
  return v;
}

struct Sink : tesselus::IKRCAppSink {
  void OnPairFinished(int32_t code, const Kit::CStringW& text,
                      const tesselus::KRCRoomData& room) override {
    finished.push_back(code);
    errorText = text;
    data = room;
  }
  void OnConnectionLost(int32_t code) override { lost.push_back(code); }
  void OnConnectionLostNoCode() override { lost.push_back(-1); }
  void OnRoomNameChanged(const Kit::CStringW&, const Kit::CStringW& name) override {
    names.push_back(name);
  }
  std::vector<int32_t> finished, lost;
  std::vector<Kit::CStringW> names;
  Kit::CStringW errorText;
  tesselus::KRCRoomData data;
};

class SimRooms : public ::testing::Test {
 protected:
  void SetUp() override {
    hostsim::Reset();
    pt = static_cast<tesselus::INWPTAppAPI*>(KitMQ_GetService()
                                                 ->FindModule(tesselus::kPTAppModuleId)
                                                 ->QueryInterface(tesselus::kPTAppInterfaceName));
    conf = dynamic_cast<tesselus::IConfAppAPI*>(
        KitMQ_GetService()->FindModule(tesselus::kConfAppModuleId));
    ASSERT_TRUE(pt && conf);
    krc = pt->GetRoomController();
    hostsim::SimRoom room;
    room.name = L"Salle \u00e9t\u00e9";
    room.jid = L"r1@rooms";
    room.sharingKey = L"ABC123";
    room.logicEmail = L"r1@example.test";
    room.featureList["supports_join_meeting"] = 1;
    room.meetingInfo["in_meeting"] = 0;
    room.account["is_pkr"] = 1;
    hostsim::AddRoom(room);
    room.name = L"Near";
    room.jid = L"r2@rooms";
    room.sharingKey = L"XYZ";
    room.nearby = true;
    room.online = false;
    hostsim::AddRoom(room);
    hostsim::SetPairAnswerHandler(
        [this](const tesselus::KRCPairAnswer& a) { answers.push_back(a); });
  }
  void TearDown() override { hostsim::Reset(); }

  Kit::CStringW Request(int32_t kind, const wchar_t* key, const wchar_t* jid) {
    Kit::CStringW id;
    EXPECT_TRUE(krc->SendPairRequest(kind, key, jid, id));
    return id;
  }

  tesselus::INWPTAppAPI* pt = nullptr;
  tesselus::IConfAppAPI* conf = nullptr;
  tesselus::IKRController* krc = nullptr;
  std::vector<tesselus::KRCPairAnswer> answers;
};

TEST_F(SimRooms, SinksRegisterOnceUnderTheControllerKeyAndLookupsFail) {
  Sink a;
  EXPECT_EQ("tesselrooms.krc", pt->GetRoomControllerKey());
  EXPECT_FALSE(krc->RegisterSink("other.key", &a));
  EXPECT_TRUE(krc->RegisterSink(pt->GetRoomControllerKey(), &a));
  EXPECT_TRUE(krc->RegisterSink(pt->GetRoomControllerKey(), &a));
  EXPECT_EQ(1u, hostsim::RoomSinkCount());
  krc->UnregisterSink(&a);
  EXPECT_EQ(0u, hostsim::RoomSinkCount());
  EXPECT_EQ(1u, hostsim::EventsOf("krUnregister").size());

  hostsim::SetLookupFails("ptapp.roomcontroller", true);
  hostsim::SetLookupFails("ptapp.webservice", true);
  EXPECT_EQ(nullptr, pt->GetRoomController());
  EXPECT_EQ(nullptr, pt->GetWebService());
}

TEST_F(SimRooms, PairRequestsAreNumberedRefusedAndAnsweredFromTheRooms) {
  EXPECT_EQ(L"req-1", Request(tesselus::kKRCPairSharingKey, L"ABC123", L""));
  EXPECT_EQ(L"req-2", Request(tesselus::kKRCPairRoomJid, L"", L"r2@rooms"));
  EXPECT_EQ(L"req-3", Request(tesselus::kKRCPairNearby, L"", L""));
  EXPECT_EQ(L"req-4", Request(tesselus::kKRCPairSharingKey, L"abc123", L""));
  hostsim::SetPairRequestsRefused(true);
  Kit::CStringW id;
  EXPECT_FALSE(krc->SendPairRequest(tesselus::kKRCPairNearby, L"", L"", id));
  EXPECT_EQ(1u, hostsim::EventsOf("krPairRefused").size());
  krc->CancelPairRequest(L"req-4");

  for (const wchar_t* req : {L"req-1", L"req-2", L"req-3", L"req-4"})
    EXPECT_TRUE(hostsim::AnswerPairRequest(req));
  EXPECT_FALSE(hostsim::AnswerPairRequest(L"req-9"));
  ASSERT_EQ(4u, answers.size());
  EXPECT_EQ(L"r1@rooms", answers[0].roomJID);
  const Json::Value basic = Parse(answers[0].basic);
  EXPECT_EQ("Salle \xc3\xa9t\xc3\xa9", basic["roomName"].asString());
  EXPECT_EQ("ABC123", basic["roomSharingKey"].asString());
  EXPECT_EQ("r1@rooms", basic["roomJID"].asString());
  EXPECT_EQ(std::string::npos, std::string(answers[0].basic).find('\n'));
  EXPECT_EQ(L"r2@rooms", answers[1].roomJID);
  EXPECT_EQ(L"r2@rooms", answers[2].roomJID);
  EXPECT_EQ(1, answers[3].errorCode);  // the key is compared as given
  EXPECT_EQ(L"room not found", answers[3].errorText);
  auto requests = hostsim::PairRequests();
  EXPECT_TRUE(requests[3].cancelled && requests[3].answered);
  EXPECT_FALSE(requests[0].cancelled);

  hostsim::RemoveRoom(L"r2@rooms");
  EXPECT_TRUE(hostsim::AnswerPairRequest(L"req-3"));
  EXPECT_EQ(0, answers.back().errorCode);  // no nearby room is no error
  EXPECT_TRUE(answers.back().roomJID.empty() && answers.back().basic.empty());
  EXPECT_TRUE(hostsim::AnswerPairRequestWithError(L"req-1", 7, L"busy"));
  EXPECT_EQ(7, answers.back().errorCode);
  EXPECT_EQ(L"req-1", answers.back().requestId);

  hostsim::Reset();
  EXPECT_TRUE(hostsim::PairRequests().empty());
  EXPECT_EQ(L"req-1", Request(tesselus::kKRCPairNearby, L"", L""));
}

TEST_F(SimRooms, FinishingAPairingReachesRegisteredSinksAndEndingItDropsTheConnection) {
  Sink a, gone;
  krc->RegisterSink(pt->GetRoomControllerKey(), &a);
  krc->RegisterSink(pt->GetRoomControllerKey(), &gone);
  krc->UnregisterSink(&gone);
  EXPECT_FALSE(hostsim::FinishPairing(0));
  EXPECT_TRUE(krc->ConnectRoom(R"({"roomJID":"r1@rooms"})", L"g-1"));
  EXPECT_EQ(L"r1@rooms", hostsim::ConnectRequests().at(0).roomJID);
  EXPECT_TRUE(hostsim::FinishPairing(0));
  ASSERT_EQ(std::vector<int32_t>{0}, a.finished);
  EXPECT_TRUE(gone.finished.empty());
  const Json::Value init = Parse(a.data.initInfo);
  EXPECT_EQ(1, init["feature_list"]["supports_join_meeting"].asInt());
  EXPECT_EQ("r1@example.test", init["email"].asString());
  EXPECT_EQ("dev-r1@rooms", init["kr_device_id"].asString());
  EXPECT_EQ(1, Parse(a.data.account)["is_pkr"].asInt());
  EXPECT_EQ(L"r1@rooms", a.data.roomHandoffJID);
  EXPECT_EQ(1, a.data.hasIdentity);

  EXPECT_EQ(0, krc->EndPairing(tesselus::kKRCEndPaired, L"r1@rooms"));
  EXPECT_EQ(0, krc->EndPairing(tesselus::kKRCEndPaired, L"r1@rooms"));
  EXPECT_TRUE(a.lost.empty());
  hostsim::RunMainQueue();
  EXPECT_EQ(std::vector<int32_t>{-1}, a.lost);  // once, however often asked
  krc->EndPairing(tesselus::kKRCEndPaired, L"r1@rooms");
  EXPECT_EQ(0u, hostsim::PendingTaskCount());  // nothing left to drop

  hostsim::FinishPairing(3, L"timeout");
  EXPECT_EQ(3, a.finished.back());
  EXPECT_EQ(L"timeout", a.errorText);
  EXPECT_TRUE(a.data.initInfo.empty() && a.data.roomJID.empty());
  hostsim::LoseConnection(true, 9);
  hostsim::RenameRoom(L"r1@rooms", L"Renamed");
  EXPECT_EQ((std::vector<int32_t>{-1, 9}), a.lost);
  EXPECT_EQ(std::vector<Kit::CStringW>{L"Renamed"}, a.names);

  const auto presence = krc->GetPresence({L"r1@rooms", L"nobody@rooms", L"r2@rooms"});
  ASSERT_EQ(2u, presence.size());
  EXPECT_EQ(1, presence[0].isOnline);
  EXPECT_EQ(0, presence[1].isOnline);
}

TEST_F(SimRooms, RoomMessagesReachTheOtherSideWhenTheQueueRuns) {
  std::vector<std::string> toMain, toMeeting;
  hostsim::SetRoomMessageReceiver(Side::Main, [&](const std::string& t) { toMain.push_back(t); });
  hostsim::SetRoomMessageReceiver(Side::Meeting,
                                  [&](const std::string& t) { toMeeting.push_back(t); });
  EXPECT_FALSE(pt->SendToMeetingProcess(tesselus::kMsgToMainProcess, "x", 1));
  EXPECT_FALSE(conf->SendToMainProcess(tesselus::kMsgToMeetingProcess, "x", 1));
  EXPECT_TRUE(pt->SendToMeetingProcess(tesselus::kMsgToMeetingProcess, "to-meeting\0!", 12));
  EXPECT_TRUE(conf->SendToMainProcess(tesselus::kMsgToMainProcess, "to-main", 7));
  EXPECT_TRUE(toMain.empty() && toMeeting.empty());
  EXPECT_EQ(2u, hostsim::PendingTaskCount());
  hostsim::RunMainQueue();
  EXPECT_EQ(std::vector<std::string>{std::string("to-meeting\0!", 12)}, toMeeting);
  EXPECT_EQ(std::vector<std::string>{"to-main"}, toMain);
  const auto logged = hostsim::EventsOf("roomMessage");
  ASSERT_EQ(2u, logged.size());
  EXPECT_EQ("meeting", logged[0].data["to"].asString());
  EXPECT_EQ(tesselus::kMsgToMainProcess, logged[1].data["kind"].asInt());

  hostsim::SetPeerUnavailable(Side::Meeting, true);
  EXPECT_FALSE(conf->SendToMainProcess(tesselus::kMsgToMainProcess, "y", 1));
  EXPECT_TRUE(pt->SendToMeetingProcess(tesselus::kMsgToMeetingProcess, "z", 1));

  std::vector<std::pair<Side, std::string>> out;
  hostsim::SetRelayOutbound([&](Side to, const std::string& t) { out.emplace_back(to, t); });
  EXPECT_TRUE(pt->SendToMeetingProcess(tesselus::kMsgToMeetingProcess, "w", 1));
  ASSERT_EQ(1u, out.size());
  EXPECT_EQ(Side::Meeting, out[0].first);
  hostsim::DeliverRoomMessage(Side::Main, "from-peer");
  hostsim::SetRoomMessageReceiver(Side::Meeting, nullptr);
  hostsim::RunMainQueue();  // "z" finds no receiver any more and is dropped
  EXPECT_EQ((std::vector<std::string>{"to-main", "from-peer"}), toMain);
  EXPECT_EQ(1u, toMeeting.size());
}

std::string Answer(const NW_webservice::ListPersonalTesselRoomsRequest& r) {
  return std::to_string(r.rooms.size());
}
std::string Answer(const NW_webservice::PairedKRActionRequest& r) { return r.resultText; }

// A request that records its answer when completed, then deletes itself.
template <class Request>
struct Recorded : Request {
  explicit Recorded(std::vector<std::string>* log) : log(log) {}
  void Complete() override {
    log->push_back(std::string(this->requestId) + ":" + std::to_string(this->errorCode) + ":" +
                   Answer(*this));
    delete this;
  }
  std::vector<std::string>* log;
};
using TestRequest = Recorded<NW_webservice::ListPersonalTesselRoomsRequest>;
using TestAction = Recorded<NW_webservice::PairedKRActionRequest>;

TEST_F(SimRooms, WebServiceTakesRefusesCompletesAndFreesRequests) {
  std::vector<std::string> done;
  NW_webservice::IWebService* web = pt->GetWebService();
  EXPECT_FALSE(web->SendRequest(nullptr));
  hostsim::SetWebRequestsRefused(true);
  TestRequest kept(&done);
  EXPECT_FALSE(web->SendRequest(&kept));
  EXPECT_EQ(1u, hostsim::EventsOf("webRefused").size());
  hostsim::SetWebRequestsRefused(false);

  auto* action = new TestAction(&done);
  action->actionKind = NW_webservice::kPairedKRActionClientJoinMeeting;
  action->targetRoomJID = L"r1@rooms";
  EXPECT_TRUE(web->SendRequest(new TestRequest(&done)));
  EXPECT_TRUE(web->SendRequest(action));
  EXPECT_TRUE(web->SendRequest(new TestRequest(&done)));
  EXPECT_EQ(3u, hostsim::PendingWebRequestCount());
  const auto logged = hostsim::EventsOf("webRequest");
  EXPECT_EQ("web-2", logged.at(1).data["id"].asString());
  EXPECT_EQ(1, logged[1].data["action"].asInt());
  EXPECT_EQ("r1@rooms", logged[1].data["roomJID"].asString());

  EXPECT_TRUE(hostsim::CompletePersonalRoomsRequest({{L"n", L"d", L"j", L"v", L"r"}}, 0));
  EXPECT_TRUE(hostsim::CompletePairedActionRequest(0, "ok"));
  EXPECT_FALSE(hostsim::CompletePairedActionRequest(0, "again"));
  EXPECT_EQ((std::vector<std::string>{"web-1:0:1", "web-2:0:ok"}), done);
  EXPECT_EQ(1u, hostsim::PendingWebRequestCount());
  hostsim::Reset();  // frees web-3 without completing it
  EXPECT_EQ(0u, hostsim::PendingWebRequestCount());
  EXPECT_EQ(2u, done.size());
}

}  // namespace
