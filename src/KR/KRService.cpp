#include "KR/KRService.h"

#include <map>

#include "Atrium/AtriumTask.h"

namespace tessel_atriumclient {
namespace {

std::map<uint64_t, AtriumTask>& PendingRoomTasks() {
  static std::map<uint64_t, AtriumTask> tasks;
  return tasks;
}

}  // namespace

KRService::KRService(int32_t isMainApp) : pair(this), meeting(this), apps(this), whiteboard(this) {
  pair.SetMainAppSide(isMainApp);
  meeting.SetMainAppSide(isMainApp);
  apps.SetMainAppSide(isMainApp);
  whiteboard.SetMainAppSide(isMainApp);
}

KRService::~KRService() { sink = nullptr; }

int32_t KRService::CleanUp() {
  PendingRoomTasks().clear();
  return 1;
}

void KRService::SetRoomInfo(const KRRoomInfo& info) {
  roomInfo = info;
  roomInfoValid = true;
}

void KRService::ClearRoomInfo() {
  roomInfo = KRRoomInfo();
  roomInfoValid = false;
}

std::size_t PendingRoomTaskCount() { return PendingRoomTasks().size(); }

}  // namespace tessel_atriumclient
