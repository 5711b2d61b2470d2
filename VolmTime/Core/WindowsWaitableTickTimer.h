// SPDX-License-Identifier: MIT
// A tick timer over one auto-reset platform timer and one auto-reset cancel event: armed in
// counter ticks, waited on by one thread, cancelled from another.
#ifndef VOLMTIME_CORE_WINDOWSWAITABLETICKTIMER_H
#define VOLMTIME_CORE_WINDOWSWAITABLETICKTIMER_H

#include "VolmTime/Core/ICorrectionFunction.h"
#include "VolmTime/Core/IHighResolutionCounter.h"
#include "VolmTime/Core/IWaitableTickTimer.h"
#include "VolmTime/Core/TickTimerPlatform.h"

namespace VolmTime::Core {

// The handle of the platform timer, the counter whose ticks it counts, and its name.
class WaitableTickTimerBase : public IWaitableTickTimer {
 public:
  [[nodiscard]] Platform::NativeHandle GetHandle() const override;

 protected:
  WaitableTickTimerBase(Platform::UniqueHandle timer, IHighResolutionCounter* counter);

  [[nodiscard]] Platform::NativeHandle Timer() const noexcept { return timer_.Get(); }
  [[nodiscard]] IHighResolutionCounter& Counter() const noexcept { return *counter_; }

 private:
  Platform::UniqueHandle timer_;
  IHighResolutionCounter* counter_;
  WideString name_;
};

template <typename Tick, typename Time>
class WindowsWaitableTickTimer : public WaitableTickTimerBase {
 public:
  // Both pointers are borrowed and must outlive the timer. `correction` maps ticks to the
  // system time (100-ns units since 1601). Creation failures are not thrown here: a missing
  // timer shows at GetHandle.
  WindowsWaitableTickTimer(IHighResolutionCounter* counter,
                           ICorrectionFunction<Tick, Time>* correction,
                           ITickTimerPlatform& platform = SystemTickTimerPlatform());

  [[nodiscard]] std::int32_t Wait(std::uint32_t timeoutMs) override;
  bool SetAbsolute(std::uint64_t tick) override;
  bool SetRelative(std::uint64_t ticks) override;
  bool SetPeriodic(std::uint64_t ticks) override;
  bool Cancel() override;

 private:
  ICorrectionFunction<Tick, Time>* correction_;
  ITickTimerPlatform& platform_;
  Platform::UniqueHandle cancelEvent_;
};

extern template class WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_WINDOWSWAITABLETICKTIMER_H
