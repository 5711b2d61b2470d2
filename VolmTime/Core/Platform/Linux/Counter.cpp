#include "VolmTime/Core/Platform/Counter.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <time.h>

namespace VolmTime::Core::Platform {

namespace {
constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
}  // namespace

bool ReadTick(std::uint64_t& tick) noexcept {
  if (TakeFault(Faults().failTickReads)) return false;
  timespec now{};
  // The raw monotonic clock is not slewed by NTP: its ticks keep one fixed frequency.
  if (::clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) return false;
  tick = static_cast<std::uint64_t>(now.tv_sec) * kNanosecondsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec);
  return true;
}

bool ReadTickFrequency(std::uint64_t& frequency) noexcept {
  if (TakeFault(Faults().failFrequencyReads)) return false;
  frequency = kNanosecondsPerSecond;
  return true;
}

}  // namespace VolmTime::Core::Platform
