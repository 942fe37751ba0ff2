// The host's module registry and the modules that it hands out.
#include <cstring>

#include "ConfApp/IConfAppAPI.h"
#include "Kit/KitMQ.h"
#include "PTApp/INWPTAppAPI.h"
#include "SimState.h"
#include "SimWebView.h"

namespace hostsim {
namespace {

using Options = std::map<std::pair<std::string, std::string>, std::string>;

class SimSession : public tesselus::IPTSession {
 public:
  int GetState() const override { return State().sessionState; }
  Kit::CStringA GetWebToken() const override { return State().webToken; }
};

class SimUser : public tesselus::IHostUser {
 public:
  explicit SimUser(const std::wstring* identity) : identity_(identity) {}
  Kit::CStringW GetIdentity() const override { return *identity_; }

 private:
  const std::wstring* identity_;
};

class SimSettings : public tesselus::IHostSettings {
 public:
  explicit SimSettings(const Options* options) : options_(options) {}
  Kit::CStringW GetWebAddress() const override { return State().pageAddress; }
  bool ReadOption(const char* key, const char* section, Kit::CStringA& value) const override {
    if (!key || !section) return false;
    auto it = options_->find({section, key});
    if (it == options_->end()) return false;
    value = it->second;
    return true;
  }

 private:
  const Options* options_;
};

class SimPTApp : public IKitModule, public tesselus::INWPTAppAPI {
 public:
  const char* GetModuleId() const override { return tesselus::kPTAppModuleId; }
  void* QueryInterface(const char* name) override {
    if (!name || State().Fails(name)) return nullptr;
    if (std::strcmp(name, tesselus::kPTAppInterfaceName) == 0)
      return static_cast<tesselus::INWPTAppAPI*>(this);
    return nullptr;
  }
  tesselus::IPTSession* GetSession() override {
    return State().Fails("ptapp.session") ? nullptr : &session_;
  }
  tesselus::IHostUser* GetCurrentUser() override {
    return State().Fails("ptapp.user") ? nullptr : &user_;
  }
  tesselus::IHostSettings* GetSettings(int category, int item) override {
    if (State().Fails("ptapp.settings")) return nullptr;
    if (category != tesselus::kWebSettingsCategory || item != tesselus::kWebSettingsItem)
      return nullptr;
    return &settings_;
  }
  void OpenAddress(const wchar_t* address, int kind) override {
    Json::Value data(Json::objectValue);
    data["address"] = Narrow(address ? address : L"");
    data["kind"] = kind;
    LogEvent("openAddress", std::move(data));
  }
  tesselus::IKRController* GetRoomController() override {
    return State().Fails("ptapp.roomcontroller") ? nullptr : RoomController();
  }
  Kit::CStringA GetRoomControllerKey() override { return kRoomControllerKey; }
  bool SendToMeetingProcess(int kind, const char* data, std::size_t length) override {
    return SendRoomMessage(Side::Main, kind, data, length);
  }
  NW_webservice::IWebService* GetWebService() override {
    return State().Fails("ptapp.webservice") ? nullptr : WebService();
  }

 private:
  SimSession session_;
  SimUser user_{&State().userIdentity};
  SimSettings settings_{&State().options};
};

class SimConfApp : public IKitModule, public tesselus::IConfAppAPI {
 public:
  const char* GetModuleId() const override { return tesselus::kConfAppModuleId; }
  void* QueryInterface(const char*) override { return nullptr; }
  tesselus::IHostUser* GetCurrentUser() override {
    return State().Fails("conf.user") ? nullptr : &user_;
  }
  tesselus::IHostSettings* GetSettings(int category, int item) override {
    if (State().Fails("conf.settings")) return nullptr;
    if (category != tesselus::kWebSettingsCategory || item != tesselus::kWebSettingsItem)
      return nullptr;
    return &settings_;
  }
  bool SendToMainProcess(int kind, const char* data, std::size_t length) override {
    return SendRoomMessage(Side::Meeting, kind, data, length);
  }

 private:
  SimUser user_{&State().confUserIdentity};
  SimSettings settings_{&State().confOptions};
};

class SimWebViewModule : public IKitModule,
                         public tesselus::IUnifyWebViewModuleAPI,
                         public tesselus::IUnifyWebViewInstManager {
 public:
  const char* GetModuleId() const override { return tesselus::kUnifyWebViewModuleId; }
  void* QueryInterface(const char* name) override {
    if (!name || State().Fails(name)) return nullptr;
    if (std::strcmp(name, tesselus::kUnifyWebViewInterfaceName) == 0)
      return static_cast<tesselus::IUnifyWebViewModuleAPI*>(this);
    return nullptr;
  }
  tesselus::IUnifyWebViewInstManager* GetInstanceManager() override {
    return State().Fails("webview.manager") ? nullptr : this;
  }
  bool IsTrustedAddress(const wchar_t* address) override {
    return address && State().trusted.count(address) != 0;
  }
  tesselus::IUnifyWebViewInstance* FindInstance(const wchar_t* id) override {
    return id ? FindWebView(id) : nullptr;
  }
};

class SimMQService : public IKitMQService {
 public:
  IKitModule* FindModule(const char* id) override {
    if (!id || State().Fails(id)) return nullptr;
    if (std::strcmp(id, tesselus::kPTAppModuleId) == 0) return &ptApp_;
    if (std::strcmp(id, tesselus::kConfAppModuleId) == 0) return &confApp_;
    if (std::strcmp(id, tesselus::kUnifyWebViewModuleId) == 0) return &webView_;
    return nullptr;
  }

 private:
  SimPTApp ptApp_;
  SimConfApp confApp_;
  SimWebViewModule webView_;
};

}  // namespace
}  // namespace hostsim

IKitMQService* KitMQ_GetService() {
  static hostsim::SimMQService service;
  return hostsim::State().Fails("service") ? nullptr : &service;
}
