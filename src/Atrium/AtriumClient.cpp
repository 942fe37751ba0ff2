#include "Atrium/AtriumClient.h"

#include "Atrium/AtriumTask.h"
#include "TesselTask/TesselTask.h"
#include "Util/AtriumUtil.h"
#include "Util/Scratch.h"
#include "Util/TextConvert.h"

namespace tessel_atriumclient {
namespace {

AtriumClient* g_client = nullptr;

// HID events: 1, 2 and 4 carry data of message types 0, 1 and 3; event 3 is
// the device library's own and carries nothing for the page.
constexpr int32_t kDroppedHIDEvent = 3;

int32_t MessageTypeOfHIDEvent(int32_t event) {
  switch (event) {
    case 2: return 1;
    case 4: return 3;
    default: return 0;
  }
}

}  // namespace

AtriumClient* AtriumClient::GetInstance() {
  if (!g_client) g_client = new AtriumClient();
  return g_client;
}

AtriumClient* AtriumClient::Instance() { return g_client; }

void AtriumClient::Destroy() {
  AtriumClient* client = g_client;
  if (!client) return;
  delete client;
  g_client = nullptr;
}

AtriumClient::AtriumClient() {
  // The function table is complete before any page can call.
  jsHandler_.RegisterFunctions();
}

AtriumClient::~AtriumClient() {
  pendActions_.clear();
  hostSink_ = nullptr;
  if (tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(webViewId_))
    instance->RemoveSink(this);
  UninitHID();
  pendActions_.clear();
  // Members go in reverse order: identifier, media helper, nearby service,
  // then the function table.
}

// ---- web view

bool AtriumClient::IsOwnInstance(tesselus::IUnifyWebViewInstance* instance) const {
  return instance && instance->GetId() == webViewId_;
}

void AtriumClient::SetHostSink(IAtriumClientHostSink* sink) { hostSink_ = sink; }

void AtriumClient::SetWebViewId(const Kit::CStringW& id) {
  if (id == webViewId_) return;
  if (tesselus::IUnifyWebViewInstance* old = AtriumUtil::GetWebViewInstance(webViewId_))
    old->RemoveSink(this);
  if (tesselus::IUnifyWebViewInstance* next = AtriumUtil::GetWebViewInstance(id))
    next->AddSink(this);
  webViewId_ = id;
  pageReady_ = false;
}

void AtriumClient::LoadHomePage() {
  if (AtriumUtil::IsSignedIn()) {
    TakePendAction(kPendActionHomePage);
    const Kit::CStringW address = AtriumUtil::GetHomePageAddress();
    if (tesselus::IUnifyWebViewInstance* instance = AtriumUtil::GetWebViewInstance(webViewId_)) {
      pageReady_ = false;
      instance->LoadAddress(address.c_str());
    }
    return;
  }
  // Not signed in: keep the request until ResumeHomePage. The action is
  // re-armed at most three times; once armed it stays in the table, and every
  // later ResumeHomePage still tries again.
  std::shared_ptr<HomePageAction> action =
      std::dynamic_pointer_cast<HomePageAction>(FindPendAction(kPendActionHomePage));
  if (!action) action = std::make_shared<HomePageAction>();
  if (action->attemptCount > action->attemptLimit) return;
  ++action->attemptCount;
  action->callback = [this](const PendAction*) { LoadHomePage(); };
  AddPendAction(action);
}

void AtriumClient::ResumeHomePage() { FirePendAction(kPendActionHomePage); }

void AtriumClient::OnBeforeNavigate(tesselus::IUnifyWebViewInstance*, int, const wchar_t* address,
                                    int& allow, bool, bool& handled) {
  const Kit::CStringW target(address);
  tesselus::IUnifyWebViewModuleAPI* module = AtriumUtil::GetWebViewModule();
  if (module && module->IsTrustedAddress(target.c_str())) {
    allow = 1;
  } else if (target == L"about:blank") {
    allow = 1;
  } else {
    allow = 0;
    if (tesselus::INWPTAppAPI* app = AtriumUtil::GetPTAppAPI())
      app->OpenAddress(target.c_str(), tesselus::kOpenAddressExternal);
  }
  handled = true;
}

void AtriumClient::OnJsMessage(tesselus::IUnifyWebViewInstance* instance, const wchar_t* message,
                               bool& handled) {
  if (!IsOwnInstance(instance)) return;
  const std::size_t length = message ? std::char_traits<wchar_t>::length(message) : 0;
  thread_local ScratchSlot<Kit::CStringA> slot;
  Scratch<Kit::CStringA> text(slot);
  TextConvert::AssignUtf8(text.Get(), message, length);
  jsHandler_.HandleJsMessage(webViewId_, text.Get());
  handled = true;
}

void AtriumClient::OnRequestHeaders(tesselus::IUnifyWebViewInstance* instance,
                                    const wchar_t* address, tesselus::UnifyWebViewHeaders& headers,
                                    bool& handled) {
  if (!IsOwnInstance(instance)) return;
  tesselus::UnifyWebViewHeaders own;
  own[L"Authorization"] = L"Bearer " + AtriumUtil::GetWebToken();
  own[L"TL-PRODUCT"] = L"desktop";
  headers.swap(own);
  if (hostSink_) {
    // insert keeps the client's own value for a name that is already there.
    for (auto& extra : hostSink_->GetExtraHeaders(address ? address : L"")) headers.insert(extra);
  }
  handled = true;
}

void AtriumClient::OnLoadStateChanged(tesselus::IUnifyWebViewInstance* instance, uint32_t state) {
  if (IsOwnInstance(instance) && state != loadState_) loadState_ = state;
}

// ---- host events

void AtriumClient::Notify(const char* name, Json::Value data) {
  AtriumJsReq req;
  req.webViewId = webViewId_;
  req.functionName = name;
  req.params.swap(data);
  jsHandler_.SendNotification(req);
}

void AtriumClient::OnApplicationActiveChanged(int32_t active) {
  Json::Value data(Json::objectValue);
  data["active"] = active != 0;
  Notify("onApplicationActiveChanged", std::move(data));
}

void AtriumClient::OnTabChanged(int32_t active) {
  if (active == lastTabState_) return;
  lastTabState_ = active;
  Json::Value data(Json::objectValue);
  data["active"] = active != 0;
  Notify("onTabChanged", std::move(data));
}

void AtriumClient::OnOptionsChanged() {
  Json::Value data(Json::objectValue);
  data["enable"] = AtriumUtil::ReadBoolOption(AtriumUtil::kOptionCompanionAudio, true) &&
                   AtriumUtil::ReadBoolOption(AtriumUtil::kOptionMeetingSwitchBack, true);
  Notify("onOptionsChanged", std::move(data));
}

void AtriumClient::OnRecvDeliveryInfo(const Kit::CStringA& image,
                                      const std::vector<AtriumDeliveryInfo>& infos) {
  Notify("onRecvDeliveryInfo", AtriumJsHandler::DeliveryJson(image, infos));
}

void AtriumClient::OnRecvDeeplinkData(const AtriumDeepLinkData& data) {
  if (pageReady_) {
    Notify("onRecvDeeplinkData", AtriumJsHandler::DeepLinkJson(data));
    TakePendAction(kPendActionDeepLink);
    return;
  }
  auto action =
      std::dynamic_pointer_cast<RecvDeepLinkDataAction>(FindPendAction(kPendActionDeepLink));
  if (!action) {
    action = std::make_shared<RecvDeepLinkDataAction>();
    action->callback = [this](const PendAction* self) {
      // A copy: delivery takes the action from the table.
      const AtriumDeepLinkData data = static_cast<const RecvDeepLinkDataAction*>(self)->data;
      OnRecvDeeplinkData(data);
    };
  }
  action->data = data;
  AddPendAction(action);
}

void AtriumClient::OnRecvUSBMsg(const USBMessage& message, bool replay) {
  if (pageReady_) {
    Notify("onRecvUSBMsg", AtriumJsHandler::USBMessageJson(message));
    TakePendAction(kPendActionUSBMsg);
  } else {
    auto action = std::dynamic_pointer_cast<RecvUSBMsgAction>(FindPendAction(kPendActionUSBMsg));
    if (!action) {
      action = std::make_shared<RecvUSBMsgAction>();
      action->callback = [this](const PendAction* self) {
        const USBMessage cached = static_cast<const RecvUSBMsgAction*>(self)->message;
        OnRecvUSBMsg(cached, true);
      };
    }
    action->message = message;  // the newest message wins
    AddPendAction(action);
  }
  if (replay) return;
  if (message.type == 0) {
    if (clientUISink_) clientUISink_->OnClientUIData(0, Kit::CStringW());
  } else if (message.type == 1) {
    TakePendAction(kPendActionUSBMsg);
  }
}

void AtriumClient::OnDeviceMessage(int32_t type, const char* data, uint32_t length) {
  if (type == CPMediaPTHelper::kReceiveKind) mediaHelper_.OnMessage(data, length);
}

void AtriumClient::Uninit() {
  UninitHID();
  nearbyService_.Stop();
  if (TesselTask::ITLTManager* manager = TesselTask::GetTLTManager()) {
    const uint64_t key = AtriumUtil::GetClientTaskKey();
    manager->DropTasks(key);
    manager->DropTasks(key);
  }
}

// ---- USB (HID)

void AtriumClient::InitHID(uint64_t parameter) {
  if (hidComm_) return;
  hidParameter_ = parameter;
  hidComm_ = CreateHIDComm(this, parameter);
  if (hidComm_) {
    const Kit::CStringA identity =
        Kit::kit_str_convert::WideToUtf8(AtriumUtil::GetUserIdentity(true));
    hidComm_->SetUserIdentity(identity.c_str());
  }
}

void AtriumClient::UninitHID() {
  TakePendAction(kPendActionUSBMsg);
  hidParameter_ = 0;
  if (hidComm_) {
    DestroyHIDComm(hidComm_);
    hidComm_ = nullptr;
  }
}

void AtriumClient::OnHIDEvent(int32_t event, const uint8_t* data, uint32_t length) {
  // Device thread: copy the data and move it to the main thread.
  if (event == kDroppedHIDEvent) return;
  USBMessage message;
  message.type = MessageTypeOfHIDEvent(event);
  if (data && length) message.bytes.assign(data, data + length);
  AtriumClient* self = this;
  AtriumTask task;
  task.label = "tAtriumClient:src/Atrium/AtriumClient:OnHIDEvent";
  task.work = [self, message] {
    // The client may have been destroyed without Uninit dropping its tasks.
    if (AtriumClient::Instance() == self) self->OnRecvUSBMsg(message, false);
  };
  std::move(task).PostToMainThread(AtriumUtil::GetClientTaskKey());
}

// ---- pending actions

void AtriumClient::AddPendAction(std::shared_ptr<PendAction> action) {
  if (!action || action->type == kPendActionInvalid) return;
  pendActions_[action->type] = std::move(action);
}

std::shared_ptr<PendAction> AtriumClient::FindPendAction(int32_t type) const {
  auto it = pendActions_.find(type);
  return it == pendActions_.end() ? nullptr : it->second;
}

std::shared_ptr<PendAction> AtriumClient::TakePendAction(int32_t type) {
  auto it = pendActions_.find(type);
  if (it == pendActions_.end()) return nullptr;
  std::shared_ptr<PendAction> action = std::move(it->second);
  pendActions_.erase(it);
  return action;
}

void AtriumClient::FirePendAction(int32_t type) {
  // Held here: executing may take the action out of the table.
  if (std::shared_ptr<PendAction> action = FindPendAction(type)) action->Execute();
}

}  // namespace tessel_atriumclient
