// Look-ups of the host's modules and the few values that the library reads
// from the host. Every look-up may fail: the result is then null, empty or
// false, and the caller skips what depended on it. Nothing is cached.
#pragma once

#include <cstdint>

#include "ConfApp/IConfAppAPI.h"
#include "Kit/CStringT.h"
#include "PTApp/INWPTAppAPI.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace tessel_atriumclient {
namespace AtriumUtil {

constexpr const char* kWebSection = "web";
constexpr const char* kOptionCompanionAudio = "enable_kr_companion_audio";
constexpr const char* kOptionMeetingSwitchBack = "enable_kr_meeting_switch_back";

tesselus::INWPTAppAPI* GetPTAppAPI();
tesselus::IConfAppAPI* GetConfAppAPI();
tesselus::IUnifyWebViewModuleAPI* GetWebViewModule();
tesselus::IUnifyWebViewInstManager* GetWebViewManager();
tesselus::IUnifyWebViewInstance* GetWebViewInstance(const Kit::CStringW& id);

tesselus::IPTSession* GetSession();
bool IsSignedIn();
// The signed-in user's web token; empty unless the session is in state 1.
Kit::CStringW GetWebToken();
// The same token as the host keeps it, in UTF-8.
Kit::CStringA GetWebTokenUtf8();
Kit::CStringW GetUserIdentity(bool fromMainApp);
Kit::CStringW GetHomePageAddress();
uint64_t GetClientTaskKey();

// True only when the option is present and its text is exactly "true".
bool ReadBoolOption(const char* key, bool fromMainApp);

}  // namespace AtriumUtil
}  // namespace tessel_atriumclient
