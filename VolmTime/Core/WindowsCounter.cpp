// SPDX-License-Identifier: MIT
#include "VolmTime/Core/WindowsCounter.h"

#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/IWaitableTickTimer.h"
#include "platform/Counter.h"
#include "platform/Thread.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

#include <algorithm>
#include <limits>

namespace VolmTime::Core {

namespace {

[[noreturn]] void Fail(const VolmWideChar* message) { throw CException(message); }

std::uint64_t ReadTickOrThrow() {
  std::uint64_t tick = 0;
  if (!Platform::ReadTick(tick)) {
    Fail(VOLM_TEXT("VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed."));
  }
  return tick;
}

}  // namespace

std::int64_t SleepDueTime(std::uint64_t ticks, std::uint64_t frequency) noexcept {
  if (frequency == 0) return 0;
  // ticks * 10,000,000 overflows 64 bits after about half an hour at 1 GHz; split the
  // division so the product never exceeds the range.
  const std::uint64_t wholeSeconds = ticks / frequency;
  const std::uint64_t remainder = ticks % frequency;
  constexpr std::uint64_t kLongest =
      static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (wholeSeconds > kLongest / Platform::kTimeUnitsPerSecond)
    return -std::numeric_limits<std::int64_t>::max();
  constexpr std::uint64_t kExactLimit =
      std::numeric_limits<std::uint64_t>::max() / Platform::kTimeUnitsPerSecond;
  // The remainder is below the frequency, so its product fits for every real counter; a
  // counter above 1.8 THz would fall back to long double.
  const std::uint64_t fraction =
      remainder <= kExactLimit ? remainder * Platform::kTimeUnitsPerSecond / frequency
                               : static_cast<std::uint64_t>(static_cast<long double>(remainder) *
                                                            Platform::kTimeUnitsPerSecond /
                                                            static_cast<long double>(frequency));
  const std::uint64_t units = wholeSeconds * Platform::kTimeUnitsPerSecond + fraction;
  return units > kLongest ? -std::numeric_limits<std::int64_t>::max()
                          : -static_cast<std::int64_t>(units);
}

WindowsCounter::WindowsCounter() {
  if (!Platform::ReadTickFrequency(frequency_) || frequency_ == 0) {
    Fail(VOLM_TEXT(
        "VolmTime::Core::WindowsCounter::WindowsCounter failed. Reason: calling QPC failed."));
  }
  name_ = VOLM_TEXT("QPC timer");
}

std::unique_ptr<IWaitableTickTimer> WindowsCounter::CreateTickTimer() {
  Fail(VOLM_TEXT(
      "VolmTime::Core::WindowsCounter::CreateTickTimer failed. Reason: Cannot create timer."));
}

std::uint64_t WindowsCounter::GetTick() const { return ReadTickOrThrow(); }

void WindowsCounter::SleepTick(std::uint64_t ticks) {
  const std::uint64_t start = ReadTickOrThrow();
  Platform::PreciseWakeUps preciseWakeUps;
  const std::uint64_t target = start + ticks;
  // The timer wakes the thread a little early and the yield loop below finishes the wait:
  // the platform wakes a sleeper late by tens or hundreds of microseconds, the counter is
  // exact.
  const std::int64_t dueTime =
      std::min<std::int64_t>(SleepDueTime(ticks, frequency_) + wakeUpMargin_.Units(), 0);
  Platform::UniqueHandle timer = Platform::CreateWaitableTimer(true);
  if (!timer) {
    Fail(VOLM_TEXT(
        "VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Cannot create timer."));
  }
  if (!Platform::ArmWaitableTimer(timer.Get(), dueTime, 0)) {
    Fail(VOLM_TEXT("VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Cannot set timer."));
  }
  if (Platform::WaitForOne(timer.Get(), Platform::kInfinite) != Platform::kWaitObject0) {
    Fail(VOLM_TEXT(
        "VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Waiting for timer failed."));
  }
  timer.Reset();
  std::uint64_t now = ReadTickOrThrow();
  // A due time of 0 fires at once and says nothing about how late the platform wakes.
  if (dueTime < 0) wakeUpMargin_.Observe(-SleepDueTime(now - start, frequency_), -dueTime);
  // The counter decides when the wait is over, whenever the timer woke the thread.
  while (now < target) {
    preciseWakeUps.YieldTimeSlice();
    now = ReadTickOrThrow();
  }
}

void WindowsCounter::SpinTick(std::uint64_t ticks) {
  const std::uint64_t start = ReadTickOrThrow();
  Platform::PreciseWakeUps preciseWakeUps;
  do {
    preciseWakeUps.YieldTimeSlice();
  } while (ReadTickOrThrow() - start <= ticks);
}

}  // namespace VolmTime::Core
