// The plug-in's entry points for the room services.
#include "KRServiceApi.h"
#include "KR/KRServiceConf.h"
#include "KR/KRServicePT.h"

extern "C" {

ATRIUM_EXPORT tessel_atriumclient::IKRService* GetKRServicePT() {
  return tessel_atriumclient::KRServicePT::GetInstance();
}

ATRIUM_EXPORT void DestroyKRServicePT() { tessel_atriumclient::KRServicePT::Destroy(); }

ATRIUM_EXPORT tessel_atriumclient::IKRService* GetKRServiceConf() {
  return tessel_atriumclient::KRServiceConf::GetInstance();
}

ATRIUM_EXPORT void DestroyKRServiceConf() { tessel_atriumclient::KRServiceConf::Destroy(); }

}
