// SPDX-License-Identifier: MIT
// A timer on a clock's time axis: times and durations are turned into ticks with the clock's
// correction function when the timer is armed.
#ifndef VOLMTIME_WAITABLETIMER_H
#define VOLMTIME_WAITABLETIMER_H

#include <VolmTime/ICorrectionFunction.h>
#include <VolmTime/IWaitableTickTimer.h>
#include <VolmTime/IWaitableTimer.h>

#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"

namespace VolmTime {

class WaitableTimer : public CVolmUnknownImpl1<IWaitableTimer> {
 public:
  // Both must be non-null (CVolmException otherwise).
  WaitableTimer(ICorrectionFunction* correction, IWaitableTickTimer* tickTimer);
  ~WaitableTimer() override;

  VolmResult GetHandle(VolmHandle* handle) override;
  VolmResult Wait(std::uint32_t timeoutMs, std::int32_t* outcome) override;
  VolmResult SetAbsolute(const std::uint64_t& time) override;
  VolmResult SetRelative(const std::uint64_t& duration) override;
  VolmResult SetPeriodic(const std::uint64_t& period) override;
  VolmResult Cancel() override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  // Ticks that `duration` lasts at the correction function's current rate.
  std::uint64_t DurationToTicks(std::uint64_t duration, std::int32_t rateLine);

  CVolmPtr<ICorrectionFunction> correction_;
  CVolmPtr<IWaitableTickTimer> tickTimer_;
};

}  // namespace VolmTime

#endif  // VOLMTIME_WAITABLETIMER_H
