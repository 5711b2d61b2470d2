// SPDX-License-Identifier: MIT
#include "VolmTime/Core/DurationTicks.h"

#include "VolmTime/Core/FullRangeConversion.h"

namespace VolmTime::Core {

DurationTicks TicksForDuration(std::uint64_t duration, double rate) noexcept {
  if (!(rate > 0.0)) {
    return {0, VOLM_TEXT("The clock's correction function has no usable rate (it must be a "
                         "number above 0), so the duration cannot be converted into ticks.")};
  }
  const double ticks = ToDouble(duration) / rate;
  if (ticks >= kTwoTo64) {
    return {0, VOLM_TEXT("The duration converts into more ticks than the counter can count "
                         "(the correction function's rate is too small), so it cannot be "
                         "waited for.")};
  }
  return {TruncateToUint64(ticks), nullptr};
}

}  // namespace VolmTime::Core
