// Meeting control of the paired room: which meeting the client and the room
// are in, and joining one on the other. Its room messages are types 12 to 21.
// So far it only follows whether the client and the room are in a meeting;
// the requests come with the meeting control.
#pragma once

#include "KR/KRHandler.h"

namespace tessel_atriumclient {

class KRMeetingHandler : public KRHandler {
 public:
  using KRHandler::KRHandler;

  bool IsClientInMeeting() const { return false; }
  bool IsRoomInMeeting() const;
  bool IsInSameMeeting() const { return false; }
};

}  // namespace tessel_atriumclient
