// The virtual clock and the host's timers.
#include "Kit/Time.h"
#include "SimState.h"

namespace Kit {

class TimerAccess {
 public:
  static uint64_t& Handle(CTimerID* id) { return id->handle_; }
};

Time Time::Now() { return Time::FromInternalValue(hostsim::State().nowUs); }

CTimerID::CTimerID() : handle_(0) {}
CTimerID::~CTimerID() { KillTimer(); }

bool CTimerID::SetTimer(CTimer* owner, uint32_t elapseMs, bool repeat) {
  KillTimer();
  if (!owner || elapseMs == 0) return false;
  hostsim::SimState& s = hostsim::State();
  handle_ = ++s.nextTimerHandle;
  hostsim::Timer t;
  t.owner = owner;
  t.id = this;
  t.intervalUs = int64_t(elapseMs) * 1000;
  t.dueUs = s.nowUs + t.intervalUs;
  t.repeat = repeat;
  s.timers[handle_] = t;
  return true;
}

void CTimerID::KillTimer() {
  if (handle_ == 0) return;
  hostsim::State().timers.erase(handle_);
  handle_ = 0;
}

}  // namespace Kit

namespace hostsim {

void ResetTimers() {
  for (auto& entry : State().timers) Kit::TimerAccess::Handle(entry.second.id) = 0;
  State().timers.clear();
}

int64_t NowMicros() { return State().nowUs; }

void AdvanceClock(int64_t milliseconds) {
  SimState& s = State();
  const int64_t target = s.nowUs + milliseconds * 1000;
  for (;;) {
    // The earliest due timer; ties fire in the order the timers were set.
    auto next = s.timers.end();
    for (auto it = s.timers.begin(); it != s.timers.end(); ++it)
      if (it->second.dueUs <= target && (next == s.timers.end() || it->second.dueUs < next->second.dueUs))
        next = it;
    if (next == s.timers.end()) break;
    const uint64_t handle = next->first;
    Timer t = next->second;
    s.nowUs = t.dueUs;
    if (t.repeat) {
      next->second.dueUs += t.intervalUs;
    } else {
      s.timers.erase(next);
      Kit::TimerAccess::Handle(t.id) = 0;
    }
    (void)handle;
    t.owner->OnTimer(t.id);  // may kill or re-arm any timer
  }
  s.nowUs = target;
}

std::size_t ActiveTimerCount() { return State().timers.size(); }

}  // namespace hostsim
