// The room service of the main-application process: it owns the handlers
// that talk to the host's room controller and web service, and answers the
// host's pairing results. The service hub, the concerner registration and
// the action menu join it with the meeting control.
#pragma once

#include "KR/KRServiceBase.h"

namespace tessel_atriumclient {

class KRServicePT : public KRServiceBase {
 public:
  KRServicePT() : KRServiceBase(1) {}

  // The process's single instance, made on the first call.
  static KRServicePT* GetInstance();
  // Deletes the single instance; nothing when there is none.
  static void Destroy();

  void Unpair() override;
  void OnPairResult(const Kit::CStringW& requestId, uint64_t arg,
                    const tesselus::KRCPairAnswer& answer) override;
};

}  // namespace tessel_atriumclient
