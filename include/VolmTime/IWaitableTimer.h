// SPDX-License-Identifier: MIT
// A timer on a clock's time axis, armed with times and durations in 100-ns units.
#ifndef VOLMTIME_IWAITABLETIMER_H
#define VOLMTIME_IWAITABLETIMER_H

#include <VolmTime/IVolmUnknown.h>

class IWaitableTimer : public IVolmUnknown {
 public:
  virtual VolmResult GetHandle(VolmHandle* handle) = 0;
  // Outcome 0 after a firing or a timeout, -1 after a cancellation.
  virtual VolmResult Wait(std::uint32_t timeoutMs, std::int32_t* outcome) = 0;
  virtual VolmResult SetAbsolute(const std::uint64_t& time) = 0;
  virtual VolmResult SetRelative(const std::uint64_t& duration) = 0;
  virtual VolmResult SetPeriodic(const std::uint64_t& period) = 0;
  virtual VolmResult Cancel() = 0;

 protected:
  ~IWaitableTimer() = default;
};

#endif  // VOLMTIME_IWAITABLETIMER_H
