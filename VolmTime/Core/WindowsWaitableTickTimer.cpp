// SPDX-License-Identifier: MIT
#include "VolmTime/Core/WindowsWaitableTickTimer.h"

#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/TimerArithmetic.h"

#include <cstdint>

namespace VolmTime::Core {

WaitableTickTimerBase::WaitableTickTimerBase(Platform::UniqueHandle timer,
                                             IHighResolutionCounter* counter)
    : timer_(std::move(timer)), counter_(counter), name_(VOLM_TEXT("WindowsWaitableTimer")) {}

Platform::NativeHandle WaitableTickTimerBase::GetHandle() const {
  if (!timer_) throw CException(VOLM_TEXT("CreateWaitableTimer failed!"));
  return timer_.Get();
}

template <typename Tick, typename Time>
WindowsWaitableTickTimer<Tick, Time>::WindowsWaitableTickTimer(
    IHighResolutionCounter* counter, ICorrectionFunction<Tick, Time>* correction,
    ITickTimerPlatform& platform)
    : WaitableTickTimerBase(platform.CreateAutoResetTimer(), counter),
      correction_(correction),
      platform_(platform),
      cancelEvent_(platform.CreateAutoResetEvent()) {}

template <typename Tick, typename Time>
std::int32_t WindowsWaitableTickTimer<Tick, Time>::Wait(std::uint32_t timeoutMs) {
  // The timer comes first, so when both are signalled the firing wins and the cancellation
  // stays pending for the next wait.
  const Platform::NativeHandle handles[] = {Timer(), cancelEvent_.Get()};
  const std::uint32_t outcome = platform_.WaitForAny(handles, 2, timeoutMs);
  switch (outcome) {
    case Platform::kWaitObject0 + 1:
      return -1;
    case Platform::kWaitObject0:
    case Platform::kWaitTimeout:
    case Platform::kWaitAbandoned0:
    case Platform::kWaitFailed:
      return 0;
    default:
      return static_cast<std::int32_t>(outcome);
  }
}

template <typename Tick, typename Time>
bool WindowsWaitableTickTimer<Tick, Time>::SetAbsolute(std::uint64_t tick) {
  const Time due = correction_->TickToTime(tick);
  (void)platform_.ResetEvent(cancelEvent_.Get());
  // A positive due time is absolute; times past the signed range (tens of thousands of years
  // ahead) stay absolute instead of turning into a relative due time.
  constexpr auto kLatest = static_cast<std::uint64_t>(INT64_MAX);
  const auto absolute = static_cast<std::int64_t>(due > kLatest ? kLatest : due);
  return platform_.ArmTimer(Timer(), absolute, 0);
}

template <typename Tick, typename Time>
bool WindowsWaitableTickTimer<Tick, Time>::SetRelative(std::uint64_t ticks) {
  const std::uint64_t frequency = Counter().GetFrequency();
  (void)platform_.ResetEvent(cancelEvent_.Get());
  const TimerArming arming = RelativeArming(frequency, ticks);
  return platform_.ArmTimer(Timer(), arming.dueTime, arming.periodMs);
}

template <typename Tick, typename Time>
bool WindowsWaitableTickTimer<Tick, Time>::SetPeriodic(std::uint64_t ticks) {
  const std::uint64_t frequency = Counter().GetFrequency();
  (void)platform_.ResetEvent(cancelEvent_.Get());
  const TimerArming arming = PeriodicArming(frequency, ticks);
  return platform_.ArmTimer(Timer(), arming.dueTime, arming.periodMs);
}

template <typename Tick, typename Time>
bool WindowsWaitableTickTimer<Tick, Time>::Cancel() {
  (void)platform_.CancelTimer(Timer());
  return platform_.SetEvent(cancelEvent_.Get());
}

template class WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core
