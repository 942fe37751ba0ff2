// The personal-room list request, bound to the pairing handler that sent it.
#pragma once

#include <memory>

#include "NW_webservice/WebService.h"

namespace tessel_atriumclient {

class KRPairHandler;

class MyListPKRRequest : public NW_webservice::ListPersonalTesselRoomsRequest,
                         public NW_webservice::HandleCallback<KRPairHandler> {
 public:
  // `alive` expires with the handler; a request finished after that deletes itself.
  MyListPKRRequest(KRPairHandler* owner, std::weak_ptr<int> alive)
      : HandleCallback<KRPairHandler>(owner), alive_(std::move(alive)) {}

  // Hands the finished request to the handler's list-result operation.
  void Complete() override;

 private:
  std::weak_ptr<int> alive_;
};

}  // namespace tessel_atriumclient
