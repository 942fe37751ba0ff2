// Look-ups of the host: every one may fail, and options are strict.
#include <gtest/gtest.h>

#include "hostsim/SimHost.h"
#include "Util/AtriumUtil.h"

namespace util = tessel_atriumclient::AtriumUtil;

namespace {

class AtriumUtilTest : public ::testing::Test {
 protected:
  void SetUp() override { hostsim::Reset(); }
  void TearDown() override { hostsim::Reset(); }
};

TEST_F(AtriumUtilTest, OptionsAreTrueOnlyForTheExactText) {
  EXPECT_FALSE(util::ReadBoolOption(util::kOptionCompanionAudio, true));
  for (const char* text : {"True", "TRUE", "1", "yes", "true "}) {
    hostsim::SetOption("web", util::kOptionCompanionAudio, text);
    EXPECT_FALSE(util::ReadBoolOption(util::kOptionCompanionAudio, true)) << text;
  }
  hostsim::SetOption("other", util::kOptionMeetingSwitchBack, "true");
  EXPECT_FALSE(util::ReadBoolOption(util::kOptionMeetingSwitchBack, true));
  hostsim::SetOption("web", util::kOptionCompanionAudio, "true");
  EXPECT_TRUE(util::ReadBoolOption(util::kOptionCompanionAudio, true));
  hostsim::SetLookupFails("ptapp.settings", true);
  EXPECT_FALSE(util::ReadBoolOption(util::kOptionCompanionAudio, true));
}

TEST_F(AtriumUtilTest, MeetingProcessValuesComeFromItsOwnModule) {
  hostsim::SetOption("web", util::kOptionMeetingSwitchBack, "true");
  EXPECT_FALSE(util::ReadBoolOption(util::kOptionMeetingSwitchBack, false));
  hostsim::SetConfOption("web", util::kOptionMeetingSwitchBack, "true");
  EXPECT_TRUE(util::ReadBoolOption(util::kOptionMeetingSwitchBack, false));
  hostsim::SetUserIdentity(L"main-user");
  hostsim::SetConfUserIdentity(L"conf-user");
  EXPECT_EQ(L"main-user", util::GetUserIdentity(true));
  EXPECT_EQ(L"conf-user", util::GetUserIdentity(false));
  EXPECT_NE(nullptr, util::GetConfAppAPI());
}

TEST_F(AtriumUtilTest, WebTokenOnlyInTheSignedInState) {
  hostsim::SetWebToken("abc");
  EXPECT_EQ(L"", util::GetWebToken());
  hostsim::SetSessionState(1);
  EXPECT_EQ(L"abc", util::GetWebToken());
  hostsim::SetLookupFails("ptapp.session", true);
  EXPECT_EQ(L"", util::GetWebToken());
  EXPECT_FALSE(util::IsSignedIn());
}

TEST_F(AtriumUtilTest, EveryStepOfALookupMayFail) {
  hostsim::CreateWebView(L"v");
  hostsim::SetPageAddress(L"https://home.example.test/");
  ASSERT_NE(nullptr, util::GetWebViewInstance(L"v"));
  EXPECT_EQ(nullptr, util::GetWebViewInstance(L"unknown"));
  EXPECT_EQ(L"https://home.example.test/", util::GetHomePageAddress());
  for (const char* step : {"service", tesselus::kUnifyWebViewModuleId,
                           tesselus::kUnifyWebViewInterfaceName, "webview.manager"}) {
    hostsim::SetLookupFails(step, true);
    EXPECT_EQ(nullptr, util::GetWebViewInstance(L"v")) << step;
    hostsim::SetLookupFails(step, false);
  }
  for (const char* step : {"service", tesselus::kPTAppModuleId, tesselus::kPTAppInterfaceName}) {
    hostsim::SetLookupFails(step, true);
    EXPECT_EQ(nullptr, util::GetPTAppAPI()) << step;
    EXPECT_EQ(L"", util::GetHomePageAddress());
    EXPECT_EQ(L"", util::GetUserIdentity(true));
    hostsim::SetLookupFails(step, false);
  }
  hostsim::SetLookupFails(tesselus::kConfAppModuleId, true);
  EXPECT_EQ(nullptr, util::GetConfAppAPI());
  EXPECT_EQ(L"", util::GetUserIdentity(false));
}

TEST_F(AtriumUtilTest, ClientTaskKeyIsStable) {
  EXPECT_EQ(util::GetClientTaskKey(), util::GetClientTaskKey());
  EXPECT_NE(0u, util::GetClientTaskKey());
}

}  // namespace
