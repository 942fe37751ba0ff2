#include "KR/KRWhiteBoardHandler.h"

#include "KR/KRService.h"

namespace tessel_atriumclient {

bool KRWhiteBoardHandler::IsAvailable() const {
  return HasPairedRoom() && service_->roomInfo.initInfo.feature_list.support_paired_whiteboard != 0;
}

}  // namespace tessel_atriumclient
