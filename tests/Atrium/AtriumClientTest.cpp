// The client object: its life, its web view, the home page and the HID channel.
#include "TestHost.h"
#include "Util/AtriumUtil.h"

using tessel_atriumclient::AtriumClient;
using tessel_atriumclient::HomePageAction;
using tessel_atriumclient::kPendActionHomePage;
using testhost::ClientTest;

namespace {

TEST(ClientLifetime, OneClientPerProcessAndDestroyIsIdempotent) {
  hostsim::Reset();
  AtriumClient* first = AtriumClient::GetInstance();
  EXPECT_EQ(first, AtriumClient::GetInstance());
  AtriumClient::Destroy();
  EXPECT_EQ(nullptr, AtriumClient::Instance());
  AtriumClient::Destroy();
  AtriumClient* second = AtriumClient::GetInstance();
  EXPECT_EQ(second, AtriumClient::Instance());
  AtriumClient::Destroy();
}

TEST_F(ClientTest, SetWebViewIdMovesTheSinkAndClearsPageReadyOnlyOnChange) {
  EXPECT_EQ(1u, hostsim::WebViewSinkCount(L"main"));
  client->SetPageReady(true);
  client->SetWebViewId(L"main");
  EXPECT_TRUE(client->PageReady());

  hostsim::CreateWebView(L"second");
  client->SetWebViewId(L"second");
  EXPECT_FALSE(client->PageReady());
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(L"main"));
  EXPECT_EQ(1u, hostsim::WebViewSinkCount(L"second"));
  // Calls from the old view are no longer the client's.
  EXPECT_TRUE(Call(R"({"functionName":"reload","jsCallId":"1"})", L"main").empty());
  EXPECT_EQ(1u, Call(R"({"functionName":"reload","jsCallId":"1"})", L"second").size());
}

TEST_F(ClientTest, DestructionRemovesTheSinkAndClosesTheChannel) {
  client->InitHID(5);
  AtriumClient::Destroy();
  EXPECT_EQ(0u, hostsim::WebViewSinkCount(L"main"));
  EXPECT_FALSE(hostsim::HIDChannelOpen());
}

TEST_F(ClientTest, HomePageWaitsForSignInWithAnAttemptCountThatStopsAtThree) {
  hostsim::SetPageAddress(L"https://atrium.example.test/home");
  const auto count = [&] {
    auto action = std::dynamic_pointer_cast<HomePageAction>(client->FindPendAction(kPendActionHomePage));
    return action ? action->attemptCount : -1;
  };
  client->LoadHomePage();
  EXPECT_EQ(1, count());
  client->ResumeHomePage();
  EXPECT_EQ(2, count());
  client->ResumeHomePage();
  client->ResumeHomePage();
  client->ResumeHomePage();
  EXPECT_EQ(3, count());
  EXPECT_TRUE(hostsim::EventsOf("load").empty());

  hostsim::SetSessionState(1);
  client->SetPageReady(true);
  client->ResumeHomePage();
  auto loads = hostsim::EventsOf("load");
  ASSERT_EQ(1u, loads.size());
  EXPECT_EQ("https://atrium.example.test/home", loads[0].data["address"].asString());
  EXPECT_FALSE(client->PageReady());
  EXPECT_EQ(-1, count());
  client->ResumeHomePage();
  EXPECT_EQ(1u, hostsim::EventsOf("load").size());
}

TEST_F(ClientTest, HomePageIsNotLoadedWithoutAView) {
  hostsim::SetSessionState(1);
  hostsim::CloseWebView(L"main");
  client->LoadHomePage();
  EXPECT_TRUE(hostsim::EventsOf("load").empty());
  EXPECT_EQ(nullptr, client->FindPendAction(kPendActionHomePage));
}

TEST_F(ClientTest, NavigationAllowsTrustedAndBlankAndOpensTheRestOutside) {
  hostsim::AddTrustedAddress(L"https://trusted.example.test/");
  bool handled = false;
  EXPECT_EQ(1, hostsim::Navigate(L"main", L"https://trusted.example.test/", &handled));
  EXPECT_TRUE(handled);
  EXPECT_EQ(1, hostsim::Navigate(L"main", L"about:blank", &handled));
  EXPECT_EQ(0, hostsim::Navigate(L"main", L"https://elsewhere.example.test/x", &handled));
  auto opened = hostsim::EventsOf("openAddress");
  ASSERT_EQ(1u, opened.size());
  EXPECT_EQ("https://elsewhere.example.test/x", opened[0].data["address"].asString());
  EXPECT_EQ(5, opened[0].data["kind"].asInt());
}

TEST_F(ClientTest, RequestHeadersCarryTheBearerTokenAndKeepItOverHostExtras) {
  hostsim::SetSessionState(1);
  hostsim::SetWebToken("tok");
  client->SetHostSink(&hostSink);
  hostSink.extraHeaders = {{L"Authorization", L"Basic nope"}, {L"X-Extra", L"1"}};
  tesselus::UnifyWebViewHeaders headers{{L"Old", L"gone"}};
  EXPECT_TRUE(hostsim::RequestHeaders(L"main", L"https://a.example.test/", headers));
  EXPECT_EQ((tesselus::UnifyWebViewHeaders{{L"Authorization", L"Bearer tok"},
                                           {L"TL-PRODUCT", L"desktop"},
                                           {L"X-Extra", L"1"}}),
            headers);

  hostsim::SetSessionState(0);
  hostsim::RequestHeaders(L"main", L"https://a.example.test/", headers);
  EXPECT_EQ(L"Bearer ", headers[L"Authorization"]);
}

TEST_F(ClientTest, AForeignViewIsLeftAlone) {
  hostsim::CreateWebView(L"other");
  // A view that the client is not bound to, but that reaches its sink anyway.
  tessel_atriumclient::AtriumUtil::GetWebViewInstance(L"other")->AddSink(client);
  tesselus::UnifyWebViewHeaders headers{{L"Keep", L"me"}};
  EXPECT_FALSE(hostsim::RequestHeaders(L"other", L"https://a.example.test/", headers));
  EXPECT_EQ(1u, headers.size());
  EXPECT_FALSE(hostsim::PostJsMessage(L"other", LR"({"functionName":"reload","jsCallId":"1"})"));
  hostsim::ReportLoadState(L"other", 9);
  EXPECT_EQ(2u, client->LoadState());
  hostsim::ReportLoadState(L"main", 7);
  EXPECT_EQ(7u, client->LoadState());
}

TEST_F(ClientTest, InitHIDOnceGivesTheUserIdentityAndUninitDropsTheCachedMessage) {
  hostsim::SetUserIdentity(L"user-😀");
  client->InitHID(42);
  client->InitHID(43);
  auto created = hostsim::EventsOf("hidCreate");
  ASSERT_EQ(1u, created.size());
  EXPECT_EQ(42u, created[0].data["parameter"].asUInt64());
  EXPECT_EQ(u8"user-😀", hostsim::EventsOf("hidIdentity")[0].data["identity"].asString());

  hostsim::RaiseHIDEvent(1, {1});
  hostsim::RunMainQueue();
  EXPECT_NE(nullptr, client->FindPendAction(tessel_atriumclient::kPendActionUSBMsg));
  client->UninitHID();
  EXPECT_EQ(nullptr, client->FindPendAction(tessel_atriumclient::kPendActionUSBMsg));
  EXPECT_FALSE(hostsim::HIDChannelOpen());
}

TEST_F(ClientTest, FailedHostLookupsSkipTheirStepsSilently) {
  hostsim::SetLookupFails("hid.create", true);
  client->InitHID(1);
  EXPECT_EQ(nullptr, client->HIDChannel());
  EXPECT_EQ(Json::Value(""), CallFunction("sendMsgToUSB", R"({"data":[1]})")["result"]);

  hostsim::SetLookupFails(tesselus::kPTAppModuleId, true);
  client->LoadHomePage();  // not signed in as far as the client can tell
  EXPECT_NE(nullptr, client->FindPendAction(kPendActionHomePage));
  EXPECT_EQ(0, hostsim::Navigate(L"main", L"https://x.example.test/", nullptr));
  EXPECT_TRUE(hostsim::EventsOf("openAddress").empty());

  hostsim::SetLookupFails("webview.manager", true);
  hostsim::ClearEvents();
  client->OnApplicationActiveChanged(1);
  EXPECT_TRUE(hostsim::EventsOf("script").empty());
}

}  // namespace
