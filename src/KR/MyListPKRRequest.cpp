#include "KR/MyListPKRRequest.h"

#include "KR/KRPairHandler.h"

namespace tessel_atriumclient {

void MyListPKRRequest::Complete() {
  KRPairHandler* owner = GetOwner();
  if (IsCancelled() || !owner || alive_.expired()) {
    delete this;
    return;
  }
  owner->OnListPersonalRoomsResult(this);
}

}  // namespace tessel_atriumclient
