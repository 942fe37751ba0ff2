// What a host sees of the Atrium client: the page bridge, host events and the
// USB (HID) path. Obtained with GetAtriumClient (AtriumClientApi.h).
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "INearbyService.h"
#include "Kit/CStringT.h"
#include "UnifyWebView/IUnifyWebViewModuleAPI.h"

namespace tessel_atriumclient {

// One code found by the host's delivery scanner.
struct AtriumDeliveryInfo {
  Kit::CStringA symbology;
  Kit::CStringA text;
  int32_t x = 0;
  int32_t y = 0;
  int32_t width = 0;
  int32_t height = 0;
  double confidence = 0;
};

using AtriumDeepLinkData = std::map<Kit::CStringA, Kit::CStringA>;

// Implemented by the host: requests that the client makes of it.
class IAtriumClientHostSink {
 public:
  virtual ~IAtriumClientHostSink() = default;
  virtual void ReloadPage() = 0;
  virtual void StartScanDelivery() = 0;
  // Extra request headers for a page request to `address`.
  virtual tesselus::UnifyWebViewHeaders GetExtraHeaders(const wchar_t* address) = 0;
};

// Implemented by the host: texts for the host's own client UI. `kind` is 1
// for page data and 0 after a USB message of type 0.
class IAtriumClientUISink {
 public:
  virtual ~IAtriumClientUISink() = default;
  virtual void OnClientUIData(int32_t kind, const Kit::CStringW& text) = 0;
};

class IAtriumHID {
 public:
  virtual ~IAtriumHID() = default;
  virtual void InitHID(uint64_t parameter) = 0;
  virtual void UninitHID() = 0;
};

class IAtriumClient : public virtual IAtriumHID {
 public:
  ~IAtriumClient() override = default;                                   // 1
  virtual void SetHostSink(IAtriumClientHostSink* sink) = 0;              // 2
  virtual void SetWebViewId(const Kit::CStringW& id) = 0;                 // 3
  virtual void LoadHomePage() = 0;                                        // 4
  virtual void OnApplicationActiveChanged(int32_t active) = 0;            // 5
  virtual void OnTabChanged(int32_t active) = 0;                          // 6
  virtual void OnOptionsChanged() = 0;                                    // 7
  virtual void Reserved1() = 0;                                           // 8
  virtual void Reserved2() = 0;                                           // 9
  virtual void ResumeHomePage() = 0;                                      // 10
  virtual void OnRecvDeeplinkData(const AtriumDeepLinkData& data) = 0;    // 11
  virtual void OnRecvDeliveryInfo(const Kit::CStringA& image,             // 12
                                  const std::vector<AtriumDeliveryInfo>& infos) = 0;
  virtual void OnDeviceMessage(int32_t type, const char* data, uint32_t length) = 0;  // 13
  virtual void Uninit() = 0;                                              // 14
  virtual INearbyService* GetNearbyService() = 0;                         // 15
  // Gives the client the host's client-UI sink (null removes it).
  virtual void SetClientUISink(IAtriumClientUISink* sink) = 0;            // 16
};

}  // namespace tessel_atriumclient
