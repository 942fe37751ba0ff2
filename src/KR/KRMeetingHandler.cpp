#include "KR/KRMeetingHandler.h"

#include "KR/KRService.h"

namespace tessel_atriumclient {

bool KRMeetingHandler::IsRoomInMeeting() const {
  return HasPairedRoom() && service_->roomInfo.meetingInfo.in_meeting != 0;
}

}  // namespace tessel_atriumclient
