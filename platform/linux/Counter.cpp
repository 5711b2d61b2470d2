// SPDX-License-Identifier: MIT
#include "platform/Backend.h"

#include <time.h>

namespace VolmTime::Platform {

namespace {
constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
}  // namespace

bool ReadTickImpl(std::uint64_t& tick) noexcept {
  timespec now;  // filled on success, the only case read
  // The raw monotonic clock is not slewed by NTP: its ticks keep one fixed frequency.
  if (::clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) return false;
  tick = static_cast<std::uint64_t>(now.tv_sec) * kNanosecondsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec);
  return true;
}

bool ReadTickFrequencyImpl(std::uint64_t& frequency) noexcept {
  frequency = kNanosecondsPerSecond;
  return true;
}

}  // namespace VolmTime::Platform
