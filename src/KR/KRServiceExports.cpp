// The plug-in's entry points for the room services.
#include "KRServiceApi.h"
#include "KR/KRServiceConf.h"
#include "KR/KRServicePT.h"
#include "Util/Boundary.h"

using tessel_atriumclient::IKRService;

extern "C" {

// A service that cannot be built (memory exhausted) shows as null.
ATRIUM_EXPORT IKRService* GetKRServicePT() noexcept {
  return boundary::Guard("GetKRServicePT", static_cast<IKRService*>(nullptr),
                         [] { return tessel_atriumclient::KRServicePT::GetInstance(); });
}

ATRIUM_EXPORT void DestroyKRServicePT() noexcept {
  boundary::Guard("DestroyKRServicePT", [] { tessel_atriumclient::KRServicePT::Destroy(); });
}

ATRIUM_EXPORT IKRService* GetKRServiceConf() noexcept {
  return boundary::Guard("GetKRServiceConf", static_cast<IKRService*>(nullptr),
                         [] { return tessel_atriumclient::KRServiceConf::GetInstance(); });
}

ATRIUM_EXPORT void DestroyKRServiceConf() noexcept {
  boundary::Guard("DestroyKRServiceConf", [] { tessel_atriumclient::KRServiceConf::Destroy(); });
}

}
