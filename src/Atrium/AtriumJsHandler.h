// The client page's native functions.
#pragma once

#include "Atrium/BaseJsHandler.h"
#include "Atrium/PendAction.h"

namespace tessel_atriumclient {

class AtriumJsHandler : public BaseJsHandler {
 public:
  AtriumJsHandler() = default;
  ~AtriumJsHandler() override;
  void RegisterFunctions() override;

  // JSON forms of cached and delivered data, shared with the notifications.
  static Json::Value USBMessageJson(const USBMessage& message);
  static Json::Value DeepLinkJson(const AtriumDeepLinkData& data);
  static Json::Value DeliveryJson(const Kit::CStringA& image,
                                  const std::vector<AtriumDeliveryInfo>& infos);

 private:
  int32_t Reload(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t GetAuthConfig(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t ReservationReady(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t SendMsgToUSB(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t SendDataToClientUI(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t QueryCachedMsg(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t ScanDelivery(const AtriumJsReq& req, AtriumJsRes& res);
  int32_t IsSupportScanDelivery(const AtriumJsReq& req, AtriumJsRes& res);
};

}  // namespace tessel_atriumclient
