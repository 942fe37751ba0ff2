#include "Util/AtriumUtil.h"

#include <string>

#include "Kit/KitMQ.h"
#include "TesselTask/TesselTask.h"

namespace tessel_atriumclient {
namespace AtriumUtil {
namespace {

IKitModule* FindModule(const char* id) {
  IKitMQService* service = KitMQ_GetService();
  return service ? service->FindModule(id) : nullptr;
}

tesselus::IHostSettings* GetWebSettings(bool fromMainApp) {
  if (fromMainApp) {
    tesselus::INWPTAppAPI* app = GetPTAppAPI();
    return app ? app->GetSettings(tesselus::kWebSettingsCategory, tesselus::kWebSettingsItem)
               : nullptr;
  }
  tesselus::IConfAppAPI* app = GetConfAppAPI();
  return app ? app->GetSettings(tesselus::kWebSettingsCategory, tesselus::kWebSettingsItem)
             : nullptr;
}

}  // namespace

tesselus::INWPTAppAPI* GetPTAppAPI() {
  IKitModule* module = FindModule(tesselus::kPTAppModuleId);
  if (!module) return nullptr;
  return static_cast<tesselus::INWPTAppAPI*>(module->QueryInterface(tesselus::kPTAppInterfaceName));
}

tesselus::IConfAppAPI* GetConfAppAPI() {
  return dynamic_cast<tesselus::IConfAppAPI*>(FindModule(tesselus::kConfAppModuleId));
}

tesselus::IUnifyWebViewModuleAPI* GetWebViewModule() {
  IKitModule* module = FindModule(tesselus::kUnifyWebViewModuleId);
  if (!module) return nullptr;
  return static_cast<tesselus::IUnifyWebViewModuleAPI*>(
      module->QueryInterface(tesselus::kUnifyWebViewInterfaceName));
}

tesselus::IUnifyWebViewInstManager* GetWebViewManager() {
  tesselus::IUnifyWebViewModuleAPI* module = GetWebViewModule();
  return module ? module->GetInstanceManager() : nullptr;
}

tesselus::IUnifyWebViewInstance* GetWebViewInstance(const Kit::CStringW& id) {
  tesselus::IUnifyWebViewInstManager* manager = GetWebViewManager();
  return manager ? manager->FindInstance(id.c_str()) : nullptr;
}

tesselus::IPTSession* GetSession() {
  tesselus::INWPTAppAPI* app = GetPTAppAPI();
  return app ? app->GetSession() : nullptr;
}

bool IsSignedIn() {
  tesselus::IPTSession* session = GetSession();
  return session && session->GetState() == 1;
}

Kit::CStringA GetWebTokenUtf8() {
  tesselus::IPTSession* session = GetSession();
  if (!session || session->GetState() != 1) return Kit::CStringA();
  return session->GetWebToken();
}

Kit::CStringW GetWebToken() { return Kit::kit_str_convert::Utf8ToWide(GetWebTokenUtf8()); }

Kit::CStringW GetUserIdentity(bool fromMainApp) {
  tesselus::IHostUser* user = nullptr;
  if (fromMainApp) {
    if (tesselus::INWPTAppAPI* app = GetPTAppAPI()) user = app->GetCurrentUser();
  } else {
    if (tesselus::IConfAppAPI* app = GetConfAppAPI()) user = app->GetCurrentUser();
  }
  return user ? user->GetIdentity() : Kit::CStringW();
}

Kit::CStringW GetHomePageAddress() {
  tesselus::IHostSettings* settings = GetWebSettings(true);
  return settings ? settings->GetWebAddress() : Kit::CStringW();
}

uint64_t GetClientTaskKey() {
  // The label is fixed, so every call yields the same key.
  const std::string label = std::string("tAtriumClient:") + "src/Util/AtriumUtil:" +
                            std::to_string(__LINE__);
  return TesselTask::GenerateUniqueKey(label.c_str());
}

bool ReadBoolOption(const char* key, bool fromMainApp) {
  tesselus::IHostSettings* settings = GetWebSettings(fromMainApp);
  Kit::CStringA value;
  if (!settings || !settings->ReadOption(key, kWebSection, value)) return false;
  return value == "true";
}

}  // namespace AtriumUtil
}  // namespace tessel_atriumclient
