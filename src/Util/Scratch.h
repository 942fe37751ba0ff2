// A per-thread buffer that keeps its capacity from one use to the next, for
// texts built on every page call. A use that begins while another is under
// way on the same thread (a host that calls back in) gets a buffer of its
// own, so nested uses never share one.
#pragma once

namespace tessel_atriumclient {

template <class T>
struct ScratchSlot {
  T value;
  bool busy = false;
};

template <class T>
class Scratch {
 public:
  explicit Scratch(ScratchSlot<T>& slot) : slot_(slot.busy ? nullptr : &slot) {
    if (slot_) {
      slot_->busy = true;
      slot_->value.clear();
    }
  }
  ~Scratch() {
    if (slot_) slot_->busy = false;
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  T& Get() { return slot_ ? slot_->value : own_; }

 private:
  ScratchSlot<T>* slot_;
  T own_;
};

}  // namespace tessel_atriumclient
