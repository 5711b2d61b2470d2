// SPDX-License-Identifier: MIT
// How a clock's duration in time units becomes a number of counter ticks to wait for.
#ifndef VOLMTIME_CORE_DURATIONTICKS_H
#define VOLMTIME_CORE_DURATIONTICKS_H

#include <VolmTime/VolmTypes.h>

#include <cstdint>

namespace VolmTime::Core {

struct DurationTicks {
  std::uint64_t ticks;
  // Null when `ticks` holds the answer; otherwise why the duration has no tick count.
  const VolmWideChar* failure;
};

// duration / rate, truncated toward zero. An infinite rate gives 0 ticks. A rate that is not
// a number above 0, or a quotient beyond the counter's 64-bit range (an absurdly small
// rate), gives a failure instead of a wait that would never end.
[[nodiscard]] DurationTicks TicksForDuration(std::uint64_t duration, double rate) noexcept;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_DURATIONTICKS_H
