// The host's clock: microsecond resolution. Time::Now is the host's own clock.
#pragma once

#include <cstdint>

#include "Kit/KitExport.h"

namespace Kit {

class TimeDelta {
 public:
  constexpr TimeDelta() = default;
  static constexpr TimeDelta FromMicroseconds(int64_t us) { return TimeDelta(us); }
  static constexpr TimeDelta FromMilliseconds(int64_t ms) { return TimeDelta(ms * 1000); }
  static constexpr TimeDelta FromSeconds(int64_t s) { return TimeDelta(s * 1000000); }
  constexpr int64_t InMicroseconds() const { return us_; }
  constexpr int64_t InMilliseconds() const { return us_ / 1000; }
  constexpr int64_t InSeconds() const { return us_ / 1000000; }
  constexpr double InSecondsF() const { return static_cast<double>(us_) / 1e6; }
  constexpr TimeDelta operator+(TimeDelta o) const { return TimeDelta(us_ + o.us_); }
  constexpr TimeDelta operator-(TimeDelta o) const { return TimeDelta(us_ - o.us_); }
  constexpr bool operator<(TimeDelta o) const { return us_ < o.us_; }
  constexpr bool operator==(TimeDelta o) const { return us_ == o.us_; }

 private:
  constexpr explicit TimeDelta(int64_t us) : us_(us) {}
  int64_t us_ = 0;
};

class Time {
 public:
  constexpr Time() = default;
  KIT_API static Time Now();
  static constexpr Time FromInternalValue(int64_t us) { return Time(us); }
  constexpr int64_t ToInternalValue() const { return us_; }
  constexpr bool IsNull() const { return us_ == 0; }
  constexpr TimeDelta operator-(Time o) const { return TimeDelta::FromMicroseconds(us_ - o.us_); }
  constexpr Time operator+(TimeDelta d) const { return Time(us_ + d.InMicroseconds()); }
  constexpr bool operator<(Time o) const { return us_ < o.us_; }
  constexpr bool operator==(Time o) const { return us_ == o.us_; }

 private:
  constexpr explicit Time(int64_t us) : us_(us) {}
  int64_t us_ = 0;
};

}  // namespace Kit
