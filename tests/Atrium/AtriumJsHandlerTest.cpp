// The client page's eight functions, through the web view as a page calls them.
#include "TestHost.h"

using tessel_atriumclient::kPendActionDeepLink;
using tessel_atriumclient::kPendActionUSBMsg;
using testhost::ClientTest;

namespace {

class PageFunctionsTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    hostsim::SetSessionState(1);
    hostsim::SetWebToken("tok-1");
  }
  std::vector<int> SentBytes() {
    std::vector<int> out;
    auto sends = hostsim::EventsOf("hidSend");
    if (sends.empty()) return out;
    EXPECT_EQ(3, sends.back().data["kind"].asInt());
    for (const auto& b : sends.back().data["bytes"]) out.push_back(b.asInt());
    return out;
  }
};

TEST_F(PageFunctionsTest, AllEightFunctionsAreRegistered) {
  for (const char* name : {"reload", "getAuthConfig", "reservationReady", "sendMsgToUSB",
                           "sendDataToClientUI", "queryCachedMsg", "scanDelivery",
                           "isSupportScanDelivery"})
    EXPECT_TRUE(client->JsHandler().HasFunction(name)) << name;
}

TEST_F(PageFunctionsTest, GetAuthConfigAnswersTheTokenOnlyWhenSignedIn) {
  EXPECT_EQ("tok-1", CallFunction("getAuthConfig")["result"]["zak"].asString());
  hostsim::SetSessionState(2);
  Json::Value reply = CallFunction("getAuthConfig");
  EXPECT_EQ("", reply["result"]["zak"].asString());
  EXPECT_EQ(0, reply["returnCode"].asInt());
}

TEST_F(PageFunctionsTest, ReloadAndScanDeliveryGoToTheHostSink) {
  EXPECT_EQ(Json::Value(""), CallFunction("reload")["result"]);  // answers without a sink
  EXPECT_TRUE(CallFunction("scanDelivery").isNull());            // no sink: no reply
  client->SetHostSink(&hostSink);
  CallFunction("reload");
  EXPECT_EQ(Json::Value(""), CallFunction("scanDelivery")["result"]);
  EXPECT_EQ(1u, hostsim::EventsOf("reload").size());
  EXPECT_EQ(1u, hostsim::EventsOf("scanDelivery").size());
  EXPECT_EQ(false, CallFunction("isSupportScanDelivery")["result"]["supported"].asBool());
}

TEST_F(PageFunctionsTest, ReservationReadyChecksItsParams) {
  EXPECT_TRUE(CallFunction("reservationReady").isNull());
  EXPECT_TRUE(CallFunction("reservationReady", "[true]").isNull());
  EXPECT_TRUE(CallFunction("reservationReady", R"({"other":true})").isNull());
  EXPECT_EQ(Json::Value(""), CallFunction("reservationReady", R"({"ready":"true"})")["result"]);
  EXPECT_FALSE(client->PageReady());
  CallFunction("reservationReady", R"({"ready":true})");
  EXPECT_TRUE(client->PageReady());
  CallFunction("reservationReady", R"({"ready":false})");
  EXPECT_FALSE(client->PageReady());
}

TEST_F(PageFunctionsTest, SendMsgToUSBKeepsTheLowEightBits) {
  client->InitHID(9);
  EXPECT_EQ(Json::Value(""), CallFunction("sendMsgToUSB", R"({"data":[256,1,-1]})")["result"]);
  EXPECT_EQ((std::vector<int>{0, 1, 255}), SentBytes());
  CallFunction("sendMsgToUSB", R"({"data":[4294967297, 2.9, true, null]})");
  EXPECT_EQ((std::vector<int>{1, 2, 1, 0}), SentBytes());
}

TEST_F(PageFunctionsTest, SendMsgToUSBWithBadParamsOrNoChannelSendsNothing) {
  EXPECT_TRUE(CallFunction("sendMsgToUSB", R"({"data":"abc"})").isNull());
  EXPECT_TRUE(CallFunction("sendMsgToUSB", R"({"bytes":[1]})").isNull());
  EXPECT_TRUE(CallFunction("sendMsgToUSB", "[1,2]").isNull());
  // No channel: still answered.
  EXPECT_EQ(Json::Value(""), CallFunction("sendMsgToUSB", R"({"data":[1]})")["result"]);
  client->InitHID(1);
  // Data without an integer value: answered, nothing sent.
  EXPECT_EQ(Json::Value(""), CallFunction("sendMsgToUSB", R"({"data":[1,"x"]})")["result"]);
  EXPECT_TRUE(hostsim::EventsOf("hidSend").empty());
}

TEST_F(PageFunctionsTest, SendDataToClientUIHandsKindOneText) {
  EXPECT_TRUE(CallFunction("sendDataToClientUI", R"("text")").isNull());
  EXPECT_EQ(Json::Value(""), CallFunction("sendDataToClientUI", R"({"notification":"x"})")["result"]);
  client->SetClientUISink(&uiSink);
  CallFunction("sendDataToClientUI", u8R"({"notification":"héllo 😀"})");
  CallFunction("sendDataToClientUI", R"({"notification":5})");
  auto records = hostsim::EventsOf("clientUI");
  ASSERT_EQ(2u, records.size());
  EXPECT_EQ(1, records[0].data["kind"].asInt());
  EXPECT_EQ(u8"héllo 😀", records[0].data["text"].asString());
  EXPECT_EQ("", records[1].data["text"].asString());
}

TEST_F(PageFunctionsTest, QueryCachedMsgTakesEachCachedMessageOnce) {
  client->InitHID(1);
  hostsim::RaiseHIDEvent(4, {7, 8});
  client->OnRecvDeeplinkData({{"room", "r1"}});
  hostsim::RunMainQueue();

  Json::Value reply = CallFunction(
      "queryCachedMsg", R"([{"key":"USBMSG"},{"key":"other"},5,{"key":3},{"key":"deepLinkData"}])");
  const Json::Value& items = reply["result"];
  ASSERT_EQ(2u, items.size());
  EXPECT_EQ("USBMSG", items[0]["key"].asString());
  EXPECT_EQ(3, items[0]["value"]["message_type"].asInt());
  EXPECT_EQ(8, items[0]["value"]["message"][1].asInt());
  EXPECT_EQ("r1", items[1]["value"]["room"].asString());
  EXPECT_EQ(nullptr, client->FindPendAction(kPendActionUSBMsg));
  EXPECT_EQ(nullptr, client->FindPendAction(kPendActionDeepLink));

  reply = CallFunction("queryCachedMsg", R"([{"key":"usbMsg"}])");
  ASSERT_EQ(1u, reply["result"].size());
  EXPECT_TRUE(reply["result"][0]["value"].isNull());
  EXPECT_TRUE(CallFunction("queryCachedMsg", "{}").isNull());
  // A comment in the call is not echoed into the reply (it may hold anything, NUL included).
  hostsim::ClearWebViewScripts(L"main");
  using namespace std::string_literals;
  client->JsHandler().HandleJsMessage(
      L"main", "{\"functionName\":\"queryCachedMsg\",\"jsCallId\":\"c\",\"params\":"
               "[{\"key\":\"usbMsg\" // note \0 here\n}]}"s);
  const auto scripts = hostsim::WebViewScripts(L"main");
  ASSERT_EQ(1u, scripts.size());
  EXPECT_EQ(std::wstring::npos, scripts[0].find(L"//"));
  EXPECT_EQ(Json::Value(""), CallFunction("queryCachedMsg", "[]")["result"]);
}

}  // namespace
