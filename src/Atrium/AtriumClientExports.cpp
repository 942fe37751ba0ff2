// The plug-in's entry points for the Atrium client.
#include "AtriumClientApi.h"
#include "Atrium/AtriumClient.h"

extern "C" {

ATRIUM_EXPORT tessel_atriumclient::IAtriumClient* GetAtriumClient() {
  return tessel_atriumclient::AtriumClient::GetInstance();
}

ATRIUM_EXPORT void DestroyAtriumClient() { tessel_atriumclient::AtriumClient::Destroy(); }

}
