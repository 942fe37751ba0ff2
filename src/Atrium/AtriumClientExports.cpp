// The plug-in's entry points for the Atrium client.
#include "AtriumClientApi.h"
#include "Atrium/AtriumClient.h"
#include "Util/Boundary.h"

extern "C" {

// A client that cannot be built (memory exhausted) shows as null.
ATRIUM_EXPORT tessel_atriumclient::IAtriumClient* GetAtriumClient() noexcept {
  return boundary::Guard("GetAtriumClient", static_cast<tessel_atriumclient::IAtriumClient*>(nullptr),
                         [] { return tessel_atriumclient::AtriumClient::GetInstance(); });
}

ATRIUM_EXPORT void DestroyAtriumClient() noexcept {
  boundary::Guard("DestroyAtriumClient", [] { tessel_atriumclient::AtriumClient::Destroy(); });
}

}
