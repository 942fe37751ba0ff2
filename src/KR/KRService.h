// The room handlers of one process and the room state they share: the
// paired room's information, whether it is valid, and the sink that the
// handlers report to.
#pragma once

#include "KR/KRAppsHandler.h"
#include "KR/KRMeetingHandler.h"
#include "KR/KRPairHandler.h"
#include "KR/KRRoomInfo.h"
#include "KR/KRWhiteBoardHandler.h"

namespace tessel_atriumclient {

class KRServiceSink;

class KRService {
 public:
  // `isMainApp`: 1 in the main application, 0 in the meeting process.
  explicit KRService(int32_t isMainApp);
  KRService(const KRService&) = delete;
  KRService& operator=(const KRService&) = delete;
  virtual ~KRService();

  // Empties the process's pending room tasks. Returns 1.
  int32_t CleanUp();

  // Replaces the room information and marks it valid.
  void SetRoomInfo(const KRRoomInfo& info);
  // Forgets the room information.
  void ClearRoomInfo();

  KRRoomInfo roomInfo;
  bool roomInfoValid = false;
  KRPairHandler pair;
  KRMeetingHandler meeting;
  KRAppsHandler apps;
  KRWhiteBoardHandler whiteboard;
  KRServiceSink* sink = nullptr;
};

// Room work waiting for the main thread, kept by task key for the process.
std::size_t PendingRoomTaskCount();

}  // namespace tessel_atriumclient
