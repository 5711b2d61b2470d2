// SPDX-License-Identifier: MIT
// A platform waitable timer armed in counter ticks.
#ifndef VOLMTIME_IWAITABLETICKTIMER_H
#define VOLMTIME_IWAITABLETICKTIMER_H

#include <VolmTime/IVolmUnknown.h>

class IWaitableTickTimer : public IVolmUnknown {
 public:
  // The timer's platform handle, for the host's own waits.
  virtual VolmResult GetHandle(VolmHandle* handle) = 0;
  // Outcome 0 after a firing or a timeout, -1 after a cancellation.
  virtual VolmResult Wait(std::uint32_t timeoutMs, std::int32_t* outcome) = 0;
  virtual VolmResult SetAbsolute(std::uint64_t tick) = 0;
  virtual VolmResult SetRelative(std::uint64_t ticks) = 0;
  virtual VolmResult SetPeriodic(std::uint64_t ticks) = 0;
  virtual VolmResult Cancel() = 0;

 protected:
  ~IWaitableTickTimer() = default;
};

#endif  // VOLMTIME_IWAITABLETICKTIMER_H
