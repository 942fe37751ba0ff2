// The host's timers. They fire on the host's main thread.
#pragma once

#include <cstdint>

#include "Kit/KitExport.h"

namespace Kit {

class CTimerID;

// Owner of a timer: its timer procedure.
class KIT_API CTimer {
 public:
  virtual ~CTimer();
  virtual void OnTimer(CTimerID* id) = 0;
};

// One timer. Destroying it ends the timer.
class KIT_API CTimerID {
 public:
  CTimerID();
  ~CTimerID();
  CTimerID(const CTimerID&) = delete;
  CTimerID& operator=(const CTimerID&) = delete;

  // Arms the timer: `owner->OnTimer(this)` every `elapseMs` (once when
  // `repeat` is false). Re-arming replaces the previous schedule.
  bool SetTimer(CTimer* owner, uint32_t elapseMs, bool repeat = true);
  void KillTimer();
  bool IsActive() const { return handle_ != 0; }

 private:
  friend class TimerAccess;
  uint64_t handle_;
};

}  // namespace Kit
