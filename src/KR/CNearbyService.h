// Whether a room system is near. This build has no discovery channel yet: it
// answers as a service with neither a BLE link nor a DNS-SD browser does.
#pragma once

#include "INearbyService.h"

namespace tessel_atriumclient {

class CNearbyService : public INearbyService {
 public:
  CNearbyService() = default;
  ~CNearbyService() override;

  void SetSink(INearbyServiceSink* sink) override { sink_ = sink; }
  int32_t GetBLEState() override { return 0; }
  int32_t Start() override { return 1; }
  // Tells the sink, unconditionally, that nothing is near.
  void Stop() override;
  bool HasNearbyRoom() override { return false; }

 private:
  INearbyServiceSink* sink_ = nullptr;
};

}  // namespace tessel_atriumclient
