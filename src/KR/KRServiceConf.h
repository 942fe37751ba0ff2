// The room service of the meeting process. Its handlers forward every
// request to their twins in the main application and mirror what those
// report; it has no service hub and no whiteboard or in-room app entries.
#pragma once

#include "KR/KRServiceBase.h"

namespace tessel_atriumclient {

class KRServiceConf : public KRServiceBase {
 public:
  KRServiceConf() : KRServiceBase(0) {}

  static KRServiceConf* GetInstance();
  static void Destroy();

  // Direct share starts from the main application only.
  int32_t ShareScreen(const AtriumJsReq& req, AtriumJsRes& res) override;
};

}  // namespace tessel_atriumclient
