// The room script handler: parameters as the page may send them, what
// reaches the room service, and notifications fanned out to every room page.
#include "KR/KRJsHandler.h"

#include "KR/KRJsHandlerSink.h"
#include "KR/RoomTestSupport.h"
#include "TestHost.h"

using namespace tessel_atriumclient;

namespace {

// A room service stand-in that records what the handler asks of it.
struct FakeSink : KRJsHandlerSink {
  std::vector<std::string> calls;
  std::vector<Kit::CStringW> targets;
  KRRoomInfo room;
  int32_t answer = 1;

  int32_t Note(const std::string& call) {
    calls.push_back(call);
    return answer;
  }
  static std::string U(const Kit::CStringW& w) { return Kit::kit_str_convert::WideToUtf8(w); }

  void GetNotificationTargets(std::vector<Kit::CStringW>& out) override { out = targets; }
  void ResizeContent(const AtriumJsReq&, int32_t w, int32_t h) override {
    Note("resize " + std::to_string(w) + "x" + std::to_string(h));
  }
  int32_t OnPageReady(const AtriumJsReq&, AtriumJsRes&) override { return Note("ready"); }
  int32_t JoinMeeting(const Kit::CStringW& id, int32_t option) override {
    return Note("join " + U(id) + " " + std::to_string(option));
  }
  int32_t ShareScreen(const AtriumJsReq&, AtriumJsRes&) override { return Note("share"); }
  int32_t UnPair(const AtriumJsReq&, AtriumJsRes&) override { return Note("unpair"); }
  int32_t PairWithSharingKey(const Kit::CStringW& key) override { return Note("key " + U(key)); }
  int32_t PairWithRoomJid(const Kit::CStringW& jid) override { return Note("jid " + U(jid)); }
  int32_t PairWithAnotherRoom(const AtriumJsReq&, AtriumJsRes&) override { return Note("another"); }
  void HoverOnMenuItem(int32_t y, const Kit::CStringW& id, bool inProgress) override {
    Note("hover " + std::to_string(y) + " " + U(id) + " " + std::to_string(inProgress));
  }
  bool GetRoomInfo(KRRoomInfo& out) override {
    out = room;
    return true;
  }
  int32_t GetMeetingStatus(const AtriumJsReq&, AtriumJsRes&) override { return Note("status"); }
  int32_t MeetingInProgress() override { return Note("inProgress"); }
  int32_t HandleAction(int32_t action) override { return Note("action " + std::to_string(action)); }
  int32_t Cancel(const AtriumJsReq&, AtriumJsRes&) override { return Note("cancel"); }
  int32_t ScanQr(const AtriumJsReq&, AtriumJsRes&) override { return Note("scan"); }
  int32_t GetPkrList(const AtriumJsReq&, AtriumJsRes&) override { return Note("pkr"); }
  int32_t SwitchWhiteboardTab(const AtriumJsReq&, AtriumJsRes&) override { return Note("wbTab"); }
  int32_t OpenWhiteboard(const Kit::CStringW& id) override { return Note("wb " + U(id)); }
  int32_t GetOpenedWhiteboard(const AtriumJsReq&, AtriumJsRes&) override { return Note("wbGet"); }
  int32_t SwitchAppTab(const AtriumJsReq&, AtriumJsRes&) override { return Note("appTab"); }
  int32_t OpenApp(const Kit::CStringW& first, const Kit::CStringW& id) override {
    return Note("app [" + U(first) + "] " + U(id));
  }
  int32_t GetOpenedApp(const AtriumJsReq&, AtriumJsRes&) override { return Note("appGet"); }
};

class KRJsHandlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    hostsim::Reset();
    hostsim::CreateWebView(L"a");
    hostsim::CreateWebView(L"b");
    handler.RegisterFunctions();
    handler.SetSink(&sink);
    sink.targets = {L"a", L"b"};
  }
  void TearDown() override { hostsim::Reset(); }

  // The reply's result, or null when the handler sent none.
  Json::Value Call(const std::string& function, const std::string& params = "") {
    std::string text = "{\"functionName\":\"" + function + "\",\"jsCallId\":\"7\"";
    if (!params.empty()) text += ",\"params\":" + params;
    text += "}";
    hostsim::ClearWebViewScripts(L"a");
    handler.HandleJsMessage(L"a", text);
    const auto payloads = testhost::Payloads(L"a");
    return payloads.empty() ? Json::Value() : payloads.back()["result"];
  }
  bool Replied(const std::string& function, const std::string& params = "") {
    Call(function, params);
    return !testhost::Payloads(L"a").empty();
  }

  FakeSink sink;
  KRJsHandler handler{1};  // main application: "showUIInConf" false
};

TEST_F(KRJsHandlerTest, ParametersReachTheServiceAsTheyShould) {
  EXPECT_TRUE(Replied("pairWithSharingKey", R"({"sharingKey":"ab-cd \u00e9"})"));
  EXPECT_TRUE(Replied("pairWithRoomJid", R"({"jid":["x"]})"));
  EXPECT_TRUE(Replied("resizeContentSize", R"({"width":"640","height":480})"));
  EXPECT_TRUE(Replied("hoverOnMenuItem", R"({"positionY":12,"meetingID":"m1","meetingInProgress":1})"));
  EXPECT_TRUE(Replied("joinMeeting", R"({"meetingID":"m2"})"));
  EXPECT_TRUE(Replied("handleAction", R"({"action":16})"));
  EXPECT_TRUE(Replied("openApp", R"({"appId":"app-1"})"));
  EXPECT_TRUE(Replied("openWhiteboard", R"({"docId":"doc-1"})"));
  EXPECT_EQ((std::vector<std::string>{"key ab-cd \xc3\xa9", "jid ", "resize 0x480", "hover 12 m1 0",
                                      "join m2 0", "action 16", "app [] app-1", "wb doc-1"}),
            sink.calls);
}

TEST_F(KRJsHandlerTest, MissingRequiredParametersSendNoReplyAndReachNothing) {
  sink.calls.clear();
  EXPECT_FALSE(Replied("joinMeeting", R"(["m1"])"));
  EXPECT_FALSE(Replied("joinMeeting", R"({"meetingID":""})"));
  EXPECT_FALSE(Replied("joinMeeting"));
  EXPECT_FALSE(Replied("handleAction", R"({"action":"16"})"));
  EXPECT_FALSE(Replied("openWhiteboard", R"({"docId":5})"));
  EXPECT_FALSE(Replied("openApp", R"("app-1")"));
  EXPECT_FALSE(Replied("pair", R"({"anything":1})"));
  EXPECT_TRUE(sink.calls.empty());

  // The sink's answer decides the reply, except for the functions that always answer.
  sink.answer = 0;
  EXPECT_FALSE(Replied("unPair"));
  EXPECT_FALSE(Replied("cancel"));
  EXPECT_TRUE(Replied("onJSReady"));
  EXPECT_TRUE(Replied("pairWithAnotherRoom"));
  EXPECT_TRUE(Replied("getMeetingStatus"));

  // Without a service nothing answers.
  handler.SetSink(nullptr);
  EXPECT_FALSE(Replied("getRoomInfo"));
  EXPECT_FALSE(Replied("getPairInitInfo"));
}

TEST_F(KRJsHandlerTest, StateTheHandlerAnswersItself) {
  sink.room.basic.roomName = L"Atlas";
  sink.room.basic.roomJID = L"r@x";
  const Json::Value room = Call("getRoomInfo");
  EXPECT_TRUE(room["isPaired"].asBool());
  EXPECT_EQ("Atlas", room["roomName"].asString());

  handler.onUpdatePairStatus(5);
  handler.updateUIActionVisible(true, false, true);
  handler.onShowActions(24, 1);
  const Json::Value init = Call("getPairInitInfo");
  EXPECT_EQ(2, init["status"].asInt());
  EXPECT_FALSE(init["showUIInConf"].asBool());
  EXPECT_TRUE(init["share_screen"].asBool());
  EXPECT_FALSE(init["open_whiteboard"].asBool());
  EXPECT_TRUE(init["open_tapp"].asBool());
  const Json::Value actions = Call("getActionInitInfo");
  EXPECT_EQ(24, actions["actions"].asInt());
  EXPECT_TRUE(actions["isHostForMeetingItem"].asBool());

  const int pageStatus[] = {0, 2, 2, 2, 1, 2, 3, 0, 0};
  for (int state = 0; state < 8; ++state) EXPECT_EQ(pageStatus[state], PagePairStatus(state));
  EXPECT_EQ(0, PagePairStatus(-1));
}

TEST_F(KRJsHandlerTest, NotificationsReachEveryTargetInOrder) {
  hostsim::ClearWebViewScripts(L"a");
  sink.room.basic.roomName = L"Atlas";
  sink.room.basic.roomJID = L"r@x";
  handler.onUpdatePairStatus(6);
  KRPairResult failed;
  failed.state = 4;
  failed.kind = kPairResultConnectFailed;
  failed.code = 12;
  failed.errorText = L"busy";
  handler.onUpdatePairStatus(failed);
  KRPairResult cancelled;
  cancelled.state = 6;
  cancelled.kind = kPairResultCancelled;
  cancelled.code = 5;
  handler.onUpdatePairStatus(cancelled);
  std::vector<KRPersonalRoom> rooms(1);
  rooms[0].name = L"P";
  rooms[0].isOnline = 2;
  handler.onUpdatePKRList(rooms);

  for (const wchar_t* view : {L"a", L"b"}) {
    const auto n = roomtest::Notifications(view);
    ASSERT_EQ(4u, n.size());
    EXPECT_EQ("onUpdatePairStatus", n[0]["notification"].asString());
    EXPECT_EQ(3, n[0]["data"]["status"].asInt());
    EXPECT_EQ("r@x", n[0]["data"]["roomJID"].asString());
    EXPECT_EQ(1, n[1]["data"]["status"].asInt());
    EXPECT_EQ(12, n[1]["data"]["code"].asInt());
    EXPECT_EQ("busy", n[1]["data"]["errorMsg"].asString());
    EXPECT_FALSE(n[1]["data"].isMember("roomJID"));
    EXPECT_EQ(3, n[2]["data"]["status"].asInt());
    EXPECT_EQ(0, n[2]["data"]["code"].asInt());
    EXPECT_TRUE(n[3]["data"][0]["isOnline"].isBool());
    EXPECT_TRUE(n[3]["data"][0]["jid"].isString());
  }

  // No targets: dropped without a word.
  sink.targets.clear();
  hostsim::ClearWebViewScripts(L"a");
  handler.updateUIVisible("pair", true);
  EXPECT_TRUE(testhost::Payloads(L"a").empty());
}

}  // namespace
