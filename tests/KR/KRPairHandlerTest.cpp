// Pairing across the two halves: what the room controller is asked, which
// states each half passes through, and what the pages see.
#include "KR/RoomTestSupport.h"

using namespace roomtest;
using tessel_atriumclient::KRRoomInfo;

namespace {

class PairTest : public RoomTest {};

TEST_F(PairTest, SharingKeyFromMeetingWindowPairsBothHalves) {
  PairFromMeetingWindow();

  // The meeting half asked its twin (message 1); the main half normalised the key.
  ASSERT_FALSE(RoomMessages().empty());
  EXPECT_EQ(1, RoomMessages().front()["type"].asInt());
  EXPECT_EQ("ab-cd-ef", RoomMessages().front()["sharingKey"].asString());
  const auto requests = hostsim::EventsOf("krPairRequest");
  ASSERT_EQ(1u, requests.size());
  EXPECT_EQ(1, requests[0].data["kind"].asInt());
  EXPECT_EQ("ABCDEF", requests[0].data["sharingKey"].asString());
  EXPECT_EQ(1u, hostsim::EventsOf("krConnect").size());

  // States 2, 5, 6 mirrored by message 7; the room by message 10 before state 6.
  std::vector<int> mirrored;
  int roomInfoAt = -1;
  const auto toMeeting = RoomMessages();
  for (const Json::Value& m : toMeeting) {
    if (m["to"].asString() != "meeting") continue;
    if (m["type"].asInt() == 7) mirrored.push_back(m["status"].asInt());
    if (m["type"].asInt() == 10) roomInfoAt = static_cast<int>(mirrored.size());
  }
  EXPECT_EQ((std::vector<int>{2, 5, 6}), mirrored);
  EXPECT_EQ(2, roomInfoAt);

  // Both pages: pairing, then paired with the room's identity; each its own flag.
  for (const wchar_t* view : {kMainView, kMeetingView}) {
    const auto data = NotificationData(view, "onUpdatePairStatus");
    ASSERT_GE(data.size(), 2u);
    EXPECT_EQ(2, data.front()["status"].asInt());
    const Json::Value& paired = data.back();
    EXPECT_EQ(3, paired["status"].asInt());
    EXPECT_EQ("Atlas", paired["roomName"].asString());
    EXPECT_EQ("room-1@rooms.example.test", paired["roomJID"].asString());
  }
  EXPECT_FALSE(NotificationData(kMainView, "onUpdatePairStatus")[0]["showUIInConf"].asBool());
  EXPECT_TRUE(NotificationData(kMeetingView, "onUpdatePairStatus")[0]["showUIInConf"].asBool());

  // Both halves answer the same room; the account and features came along.
  const Json::Value mainRoom = Call(kMainView, "getRoomInfo");
  const Json::Value meetingRoom = Call(kMeetingView, "getRoomInfo");
  EXPECT_TRUE(mainRoom["isPaired"].asBool());
  EXPECT_EQ(mainRoom, meetingRoom);
  KRRoomInfo a, b;
  ASSERT_TRUE(pt->GetRoomInfo(a));
  ASSERT_TRUE(conf->GetRoomInfo(b));
  EXPECT_TRUE(a == b);
  EXPECT_EQ(1, b.account.is_pkr);
  EXPECT_EQ(1, b.initInfo.feature_list.supports_join_meeting);
}

TEST_F(PairTest, RefusedAndFailedRequests) {
  hostsim::SetPairRequestsRefused(true);
  EXPECT_EQ(0, pt->Rooms().pair.PairWithSharingKey(L"abc"));
  EXPECT_EQ(4u, pt->GetPairState());
  const auto data = NotificationData(kMainView, "onUpdatePairStatus");
  ASSERT_FALSE(data.empty());
  EXPECT_EQ(1, data.back()["status"].asInt());
  EXPECT_EQ(99, data.back()["code"].asInt());
  Pump();
  EXPECT_EQ(4u, conf->GetPairState());
  EXPECT_EQ(99, NotificationData(kMeetingView, "onUpdatePairStatus").back()["code"].asInt());

  // An error answer: failed with the room controller's code and text.
  hostsim::SetPairRequestsRefused(false);
  EXPECT_EQ(1, pt->Rooms().pair.PairWithRoomJid(L"nobody@rooms.example.test"));
  EXPECT_EQ(3u, pt->GetPairState());
  ASSERT_TRUE(hostsim::AnswerPairRequest(hostsim::PairRequests().back().id));
  EXPECT_EQ(4u, pt->GetPairState());
  EXPECT_EQ("room not found", NotificationData(kMainView, "onUpdatePairStatus").back()["errorMsg"].asString());

  // A nearby request whose answer names no room fails without a code.
  EXPECT_EQ(1, pt->Rooms().pair.Pair());
  tesselus::KRCPairAnswer empty;
  empty.requestId = pt->Rooms().pair.GetRequestId();
  hostsim::SendPairAnswer(empty);
  EXPECT_EQ(4u, pt->GetPairState());
  EXPECT_EQ(0, NotificationData(kMainView, "onUpdatePairStatus").back()["code"].asInt());

  // An answer that names a room without its data cannot connect.
  EXPECT_EQ(1, pt->Rooms().pair.PairWithSharingKey(L"ABCDEF"));
  tesselus::KRCPairAnswer bare;
  bare.requestId = pt->Rooms().pair.GetRequestId();
  bare.roomJID = kRoomJid;
  hostsim::SendPairAnswer(bare);
  EXPECT_EQ(4u, pt->GetPairState());
  EXPECT_EQ(4, NotificationData(kMainView, "onUpdatePairStatus").back()["code"].asInt());
  EXPECT_TRUE(hostsim::EventsOf("krConnect").empty());
}

TEST_F(PairTest, ForeignAnswersAndSecondRequestsChangeNothing) {
  EXPECT_EQ(1, pt->Rooms().pair.PairWithSharingKey(L"ab-cd-ef"));
  const std::wstring id = pt->Rooms().pair.GetRequestId();
  ASSERT_FALSE(id.empty());
  Forget();

  EXPECT_EQ(1, pt->Rooms().pair.PairWithRoomJid(kRoomJid));
  EXPECT_EQ(1, pt->Rooms().pair.Pair());
  tesselus::KRCPairAnswer other;
  other.requestId = L"req-somebody-else";
  other.errorCode = 5;
  hostsim::SendPairAnswer(other);
  EXPECT_EQ(2u, pt->GetPairState());
  EXPECT_EQ(id, pt->Rooms().pair.GetRequestId());
  EXPECT_TRUE(hostsim::EventsOf("krPairRequest").empty());
  EXPECT_TRUE(Notifications(kMainView).empty());

  // Empty keys name no room: nothing is asked.
  pt->Rooms().pair.Cancel();
  Forget();
  EXPECT_EQ(0, pt->Rooms().pair.PairWithSharingKey(L"--"));
  EXPECT_TRUE(Call(kMeetingView, "pairWithRoomJid", R"({"jid":7})").isNull());  // no reply
  Pump();
  EXPECT_TRUE(hostsim::EventsOf("krPairRequest").empty());
  EXPECT_TRUE(hostsim::EventsOf("roomMessage").empty());
}

TEST_F(PairTest, CancelFallsBackToIdleOrPaired) {
  auto& pair = pt->Rooms().pair;
  for (int kind = 0; kind < 3; ++kind) {
    if (kind == 0) pair.Pair();
    if (kind == 1) pair.PairWithSharingKey(L"ABCDEF");
    if (kind == 2) pair.PairWithRoomJid(kRoomJid);
    EXPECT_EQ(static_cast<uint32_t>(kind + 1), pt->GetPairState());
    const std::wstring id = pair.GetRequestId();
    Forget();
    EXPECT_EQ(1, pair.Cancel());
    EXPECT_EQ(0u, pt->GetPairState());
    EXPECT_TRUE(pair.GetRequestId().empty());
    const auto cancels = hostsim::EventsOf("krCancelRequest");
    ASSERT_EQ(1u, cancels.size());
    EXPECT_EQ(Kit::kit_str_convert::WideToUtf8(id), cancels[0].data["id"].asString());
    EXPECT_EQ(0, NotificationData(kMainView, "onUpdatePairStatus").back()["status"].asInt());
  }

  // Connecting: the attempt is ended with kind 1 for the answered room.
  pair.PairWithSharingKey(L"ABCDEF");
  hostsim::AnswerPairRequest(pair.GetRequestId());
  EXPECT_EQ(5u, pt->GetPairState());
  Forget();
  pair.Cancel();
  EXPECT_EQ(0u, pt->GetPairState());
  const auto ends = hostsim::EventsOf("krEndPairing");
  ASSERT_EQ(1u, ends.size());
  EXPECT_EQ(1, ends[0].data["kind"].asInt());
  EXPECT_EQ("room-1@rooms.example.test", ends[0].data["roomJID"].asString());
  EXPECT_FALSE(hostsim::FinishPairing(0) && pt->GetPairState() == 6u);

  // Cancelled from the meeting window while paired: back to paired on both halves.
  PairFromMeetingWindow();
  Forget();
  Call(kMeetingView, "cancel");
  Pump();
  EXPECT_EQ(6u, pt->GetPairState());
  EXPECT_EQ(6u, conf->GetPairState());
  EXPECT_EQ((std::vector<int>{3}), RoomMessageTypes("main"));
  EXPECT_EQ(3, NotificationData(kMeetingView, "onUpdatePairStatus").back()["status"].asInt());
}

TEST_F(PairTest, ConnectionLossWhilePaired) {
  PairFromMeetingWindow();
  Forget();
  hostsim::LoseConnection(true, 17);
  Pump();
  EXPECT_EQ(0u, pt->GetPairState());
  EXPECT_EQ(0u, conf->GetPairState());
  KRRoomInfo info;
  EXPECT_FALSE(pt->GetRoomInfo(info));
  EXPECT_FALSE(conf->GetRoomInfo(info));
  EXPECT_FALSE(pt->Rooms().pair.HasPairedRoom());
  const auto lost = RoomMessages();
  ASSERT_EQ(2u, lost.size());  // the loss, then the new state
  EXPECT_EQ(11, lost[0]["type"].asInt());
  EXPECT_EQ(17, lost[0]["code"].asInt());
  EXPECT_EQ(7, lost[1]["type"].asInt());
  EXPECT_FALSE(Call(kMeetingView, "getRoomInfo")["isPaired"].asBool());
  // One notice on each half, naming the room that went away.
  for (const auto* sinks : {&mainSinks, &meetingSinks}) {
    int notices = 0;
    for (const std::string& call : sinks->calls)
      if (call.rfind("notice ", 0) == 0) {
        ++notices;
        EXPECT_EQ("notice 17 Atlas", call);
      }
    EXPECT_EQ(1, notices) << ::testing::PrintToString(sinks->calls);
  }

  // A pairing the host opened settles: paired, its marker and pair key gone.
  EXPECT_EQ(1u, pt->StartPair(1));
  EXPECT_FALSE(pt->PairKey().empty());
  EXPECT_EQ(1u, pt->GetPairState());
  hostsim::AnswerPairRequest(hostsim::PairRequests().back().id);
  hostsim::FinishPairing(0);
  EXPECT_EQ(6u, pt->GetPairState());
  EXPECT_TRUE(pt->PairKey().empty());
  EXPECT_TRUE(pt->Rooms().pair.GetPendingPairKey().empty());
}

TEST_F(PairTest, ConnectionLossWithPendingMarkerFails) {
  // The meeting window opened a pairing; the room goes away between the
  // paired state and the result: a failure, not an idle room.
  EXPECT_EQ(1u, conf->StartPair(1));
  EXPECT_FALSE(conf->Rooms().pair.GetPendingPairKey().empty());
  Forget();
  conf->OnRoomMessage(R"({"type":7,"status":6})");
  conf->OnRoomMessage(R"({"type":11,"code":3,"msg":"gone"})");
  EXPECT_EQ(4u, conf->GetPairState());
  EXPECT_EQ(1, NotificationData(kMeetingView, "onUpdatePairStatus").back()["status"].asInt());
}

TEST_F(PairTest, UnpairEndsThroughTheRoomControllerAndRenameFollows) {
  PairFromMeetingWindow();
  Forget();
  hostsim::RenameRoom(kRoomJid, L"Atlas \u00e9tage 2");
  Pump();
  EXPECT_EQ((std::vector<int>{10}), RoomMessageTypes("meeting"));
  EXPECT_EQ("Atlas \xc3\xa9tage 2", Call(kMeetingView, "getRoomInfo")["roomName"].asString());
  hostsim::RenameRoom(L"other@rooms.example.test", L"x");

  Forget();
  EXPECT_EQ(0, Call(kMeetingView, "unPair")["code"].asInt());  // sent to the twin
  Pump();
  const auto ends = hostsim::EventsOf("krEndPairing");
  ASSERT_EQ(1u, ends.size());
  EXPECT_EQ(6, ends[0].data["kind"].asInt());
  EXPECT_EQ(0u, pt->GetPairState());
  EXPECT_EQ(0u, conf->GetPairState());
  EXPECT_EQ(0, NotificationData(kMainView, "onUpdatePairStatus").back()["status"].asInt());
}

TEST_F(PairTest, PersonalRoomsFromMeetingSide) {
  hostsim::SimRoom offline = StandardRoom();
  offline.jid = L"room-2@rooms.example.test";
  offline.online = false;
  hostsim::AddRoom(offline);

  Call(kMeetingView, "getPkrList");
  Pump();
  EXPECT_EQ(1u, hostsim::EventsOf("webRequest").size());
  EXPECT_EQ(1u, hostsim::PendingWebRequestCount());
  Forget();
  std::vector<NW_webservice::PersonalTesselRoom> rooms(3);
  rooms[0].name = L"Atlas";
  rooms[0].roomJID = kRoomJid;
  rooms[1].name = L"Borealis";
  rooms[1].roomJID = L"room-2@rooms.example.test";
  rooms[2].name = L"Unknown";
  rooms[2].roomJID = L"room-9@rooms.example.test";
  ASSERT_TRUE(hostsim::CompletePersonalRoomsRequest(rooms));
  Pump();
  for (const wchar_t* view : {kMainView, kMeetingView}) {
    const auto lists = NotificationData(view, "onUpdatePKRList");
    ASSERT_EQ(1u, lists.size());
    const Json::Value& list = lists[0];
    ASSERT_EQ(3u, list.size());
    EXPECT_TRUE(list[0]["isOnline"].isBool());
    EXPECT_TRUE(list[0]["isOnline"].asBool());
    EXPECT_FALSE(list[1]["isOnline"].asBool());
    EXPECT_FALSE(list[2]["isOnline"].asBool());
    EXPECT_EQ("room-2@rooms.example.test", list[1]["jid"].asString());
  }

  // An empty result still clears the list and reports it on both pages.
  pt->Rooms().pair.ListPersonalRooms();
  Forget();
  ASSERT_TRUE(hostsim::CompletePersonalRoomsRequest({}));
  Pump();
  EXPECT_TRUE(pt->Rooms().pair.GetPkrList().empty());
  EXPECT_TRUE(conf->Rooms().pair.GetPkrList().empty());
  EXPECT_EQ(0u, NotificationData(kMeetingView, "onUpdatePKRList").at(0).size());

  // A refused request is not kept; a request outliving its handler is dropped.
  hostsim::SetWebRequestsRefused(true);
  EXPECT_EQ(0, pt->Rooms().pair.ListPersonalRooms());
  hostsim::SetWebRequestsRefused(false);
  EXPECT_EQ(1, pt->Rooms().pair.ListPersonalRooms());
  tessel_atriumclient::KRServicePT::Destroy();
  pt = tessel_atriumclient::KRServicePT::GetInstance();
  EXPECT_TRUE(hostsim::CompletePersonalRoomsRequest(rooms));
  EXPECT_TRUE(pt->Rooms().pair.GetPkrList().empty());
}

TEST_F(PairTest, MessagesForTheOtherSideOrMalformedAreIgnored) {
  // Reports reaching the main half and requests reaching the meeting half do nothing.
  pt->OnRoomMessage(R"({"type":7,"status":6})");
  pt->OnRoomMessage(R"({"type":10,"basic":{"roomJID":"x@y"}})");
  conf->OnRoomMessage(R"({"type":1,"sharingKey":"ABCDEF"})");
  conf->OnRoomMessage(R"({"type":6})");
  // Missing or mistyped types, arrays and non-JSON text.
  conf->OnRoomMessage(R"({"status":6})");
  conf->OnRoomMessage(R"({"type":"7","status":6})");
  conf->OnRoomMessage(R"([{"type":7,"status":6}])");
  conf->OnRoomMessage("{\"type\":7,");
  conf->OnRoomMessage(R"({"type":9,"pkrs":{"name":"x"}})");
  Pump();
  EXPECT_EQ(0u, pt->GetPairState());
  EXPECT_EQ(0u, conf->GetPairState());
  KRRoomInfo info;
  EXPECT_FALSE(pt->GetRoomInfo(info));
  EXPECT_TRUE(hostsim::EventsOf("krPairRequest").empty());
  EXPECT_TRUE(hostsim::EventsOf("webRequest").empty());
  EXPECT_TRUE(Notifications(kMainView).empty());
  EXPECT_TRUE(Notifications(kMeetingView).empty());
}

}  // namespace
