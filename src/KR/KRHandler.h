// The base of every room handler. The same handler runs in both processes:
// in the main application it works with the host's room controller, in the
// meeting process it forwards requests to its twin and mirrors what the twin
// reports. Every operation therefore asks first which side it is on.
#pragma once

#include <json/value.h>

#include <cstdint>

#include "KRC/IKRController.h"

namespace tessel_atriumclient {

class KRService;
class KRServiceSink;

class KRHandler : public tesselus::IKRCAppSink {
 public:
  explicit KRHandler(KRService* service) : service_(service) {}
  KRHandler(const KRHandler&) = delete;
  KRHandler& operator=(const KRHandler&) = delete;
  // Unregisters from the room controller when this is the main-application side.
  ~KRHandler() override;

  // Called once after construction: 1 in the main application, which also
  // registers the handler with the host's room controller; 0 in the meeting
  // process, which registers nothing.
  virtual void SetMainAppSide(int32_t isMainAppSide);  // 26
  // A room message from the twin; each handler ignores types not its own.
  virtual void OnPeerMessage(const Json::Value& message);  // 27

  // True when the service's room information is valid and names a room.
  bool HasPairedRoom() const;
  int32_t IsMainAppSide() const { return isMainAppSide_; }

 protected:
  // The owning service's sink; null while none is set.
  KRServiceSink* Sink() const;
  bool Send(const Json::Value& message) const;

  KRService* service_;
  int32_t isMainAppSide_ = 0;
};

// The host's room controller, or null.
tesselus::IKRController* GetRoomController();

}  // namespace tessel_atriumclient
