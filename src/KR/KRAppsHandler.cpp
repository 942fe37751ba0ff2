#include "KR/KRAppsHandler.h"

#include "KR/KRService.h"

namespace tessel_atriumclient {

bool KRAppsHandler::IsAvailable() const {
  return HasPairedRoom() && service_->roomInfo.initInfo.feature_list.supports_open_apps != 0;
}

}  // namespace tessel_atriumclient
