#include "KR/CNearbyService.h"

namespace tessel_atriumclient {

CNearbyService::~CNearbyService() {
  sink_ = nullptr;  // the stop inside destruction tells nobody
  Stop();
}

void CNearbyService::Stop() {
  if (sink_) sink_->OnNearbyChanged(false);
}

}  // namespace tessel_atriumclient
