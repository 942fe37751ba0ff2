// The Atrium client: shows the client's page in a host web view, bridges the
// page's calls, turns host events into page notifications and carries the
// USB (HID) path. One per process; every entry runs on the host's main
// thread, except OnHIDEvent, which only posts a task there.
#pragma once

#include <map>
#include <memory>

#include "Atrium/AtriumJsHandler.h"
#include "Atrium/PendAction.h"
#include "IAtriumClient.h"
#include "KR/CNearbyService.h"
#include "KR/CPMediaPTHelper.h"
#include "tthost/HIDComm.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace tessel_atriumclient {

class AtriumClient : public IAtriumClient,
                     public tesselus::IUnifyWebViewInstSink,
                     public IHIDCommCallback {
 public:
  AtriumClient();
  ~AtriumClient() override;

  // The process's client, built on first use; null after Destroy.
  static AtriumClient* GetInstance();
  static AtriumClient* Instance();  // without building
  static void Destroy();

  // IAtriumClient
  void SetHostSink(IAtriumClientHostSink* sink) override;
  void SetWebViewId(const Kit::CStringW& id) override;
  void LoadHomePage() override;
  void OnApplicationActiveChanged(int32_t active) override;
  void OnTabChanged(int32_t active) override;
  void OnOptionsChanged() override;
  void Reserved1() override {}
  void Reserved2() override {}
  void ResumeHomePage() override;
  void OnRecvDeeplinkData(const AtriumDeepLinkData& data) override;
  void OnRecvDeliveryInfo(const Kit::CStringA& image,
                          const std::vector<AtriumDeliveryInfo>& infos) override;
  void OnDeviceMessage(int32_t type, const char* data, uint32_t length) override;
  void Uninit() override;
  INearbyService* GetNearbyService() override { return &nearbyService_; }
  void SetClientUISink(IAtriumClientUISink* sink) override { clientUISink_ = sink; }

  // IAtriumHID
  void InitHID(uint64_t parameter) override;
  void UninitHID() override;

  // IUnifyWebViewInstSink
  void OnBeforeNavigate(tesselus::IUnifyWebViewInstance* instance, int navigationKind,
                        const wchar_t* address, int& allow, bool mainFrame,
                        bool& handled) override;
  void OnJsMessage(tesselus::IUnifyWebViewInstance* instance, const wchar_t* message,
                   bool& handled) override;
  void OnRequestHeaders(tesselus::IUnifyWebViewInstance* instance, const wchar_t* address,
                        tesselus::UnifyWebViewHeaders& headers, bool& handled) override;
  void OnLoadStateChanged(tesselus::IUnifyWebViewInstance* instance, uint32_t state) override;

  // IHIDCommCallback (device thread)
  void OnHIDEvent(int32_t event, const uint8_t* data, uint32_t length) override;

  // Pending actions, one per type.
  void AddPendAction(std::shared_ptr<PendAction> action);
  std::shared_ptr<PendAction> FindPendAction(int32_t type) const;
  std::shared_ptr<PendAction> TakePendAction(int32_t type);
  void FirePendAction(int32_t type);

  // Delivery of a USB message on the main thread; `replay` when it comes
  // from the cache.
  void OnRecvUSBMsg(const USBMessage& message, bool replay);

  // What the page functions read and change.
  IAtriumClientHostSink* HostSink() const { return hostSink_; }
  IAtriumClientUISink* ClientUISink() const { return clientUISink_; }
  IHIDComm* HIDChannel() const { return hidComm_; }
  const Kit::CStringW& WebViewId() const { return webViewId_; }
  bool PageReady() const { return pageReady_; }
  void SetPageReady(bool ready) { pageReady_ = ready; }
  uint32_t LoadState() const { return loadState_; }
  AtriumJsHandler& JsHandler() { return jsHandler_; }

 private:
  bool IsOwnInstance(tesselus::IUnifyWebViewInstance* instance) const;
  void Notify(const char* name, Json::Value data);

  IAtriumClientHostSink* hostSink_ = nullptr;
  IHIDComm* hidComm_ = nullptr;
  IAtriumClientUISink* clientUISink_ = nullptr;
  AtriumJsHandler jsHandler_;
  CNearbyService nearbyService_;
  CPMediaPTHelper mediaHelper_;
  Kit::CStringW webViewId_;
  bool pageReady_ = false;
  int32_t lastTabState_ = 0;
  uint32_t loadState_ = 2;
  uint64_t hidParameter_ = 0;
  std::map<int32_t, std::shared_ptr<PendAction>> pendActions_;
};

}  // namespace tessel_atriumclient
