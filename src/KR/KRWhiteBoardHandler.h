// Whiteboards of the paired room.
#pragma once

#include "KR/KRHandler.h"

namespace tessel_atriumclient {

class KRWhiteBoardHandler : public KRHandler {
 public:
  using KRHandler::KRHandler;
  // Whether the paired room can show the user's whiteboards.
  bool IsAvailable() const;
};

}  // namespace tessel_atriumclient
