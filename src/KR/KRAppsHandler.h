// In-room apps of the paired room.
#pragma once

#include "KR/KRHandler.h"

namespace tessel_atriumclient {

class KRAppsHandler : public KRHandler {
 public:
  using KRHandler::KRHandler;
  // Whether the paired room can open in-room apps.
  bool IsAvailable() const;
};

}  // namespace tessel_atriumclient
