#include "Atrium/AtriumTask.h"

#include "TesselTask/TesselTask.h"

namespace tessel_atriumclient {

bool AtriumTask::PostToMainThread(uint64_t key) && {
  TesselTask::ITLTManager* manager = TesselTask::GetTLTManager();
  if (!manager) {
    if (release) release();
    return false;
  }
  TesselTask::ITesselTask* task =
      TesselTask::CreateTesselTask(label.c_str(), std::move(work), std::move(release));
  return task && manager->PostTask(TesselTask::kMainThreadRunner, task, key);
}

}  // namespace tessel_atriumclient
