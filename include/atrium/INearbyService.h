// Whether a room system is near this computer.
#pragma once

#include <cstdint>

namespace tessel_atriumclient {

class INearbyServiceSink {
 public:
  virtual ~INearbyServiceSink() = default;
  // BLE link state 0..4.
  virtual void OnBLEStateChanged(int32_t state) = 0;
  // At least one room is near (true) or none (false).
  virtual void OnNearbyChanged(bool nearby) = 0;
};

class INearbyService {
 public:
  virtual ~INearbyService() = default;
  virtual void SetSink(INearbyServiceSink* sink) = 0;
  virtual int32_t GetBLEState() = 0;
  virtual int32_t Start() = 0;
  virtual void Stop() = 0;
  virtual bool HasNearbyRoom() = 0;
};

}  // namespace tessel_atriumclient
