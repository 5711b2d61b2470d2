// SPDX-License-Identifier: MIT
#include "VolmTime/Core/TimerArithmetic.h"

#include <VolmTime/VolmTypes.h>

#include <cmath>
#include <limits>

namespace VolmTime::Core {

namespace {

// Truncates toward zero into the signed range; NaN gives 0 and values beyond the range its
// nearest end, where a plain conversion would be undefined.
template <typename Signed>
Signed TruncateToSigned(double value) noexcept {
  constexpr double kLowest = static_cast<double>(std::numeric_limits<Signed>::lowest());
  constexpr double kBeyondMax = -kLowest;  // 2^(bits-1), exactly representable
  if (std::isnan(value)) return 0;
  if (value <= kLowest) return std::numeric_limits<Signed>::lowest();
  if (value >= kBeyondMax) return std::numeric_limits<Signed>::max();
  return static_cast<Signed>(value);
}

}  // namespace

double TicksToTimeUnits(std::uint64_t frequency, std::uint64_t ticks) noexcept {
  const double factor = static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) / static_cast<double>(frequency);
  return factor * static_cast<double>(ticks);
}

TimerArming RelativeArming(std::uint64_t frequency, std::uint64_t ticks) noexcept {
  const double units = TicksToTimeUnits(frequency, ticks);
  return {TruncateToSigned<std::int64_t>(0.0 - units), 0};
}

TimerArming PeriodicArming(std::uint64_t frequency, std::uint64_t ticks) noexcept {
  const double units = TicksToTimeUnits(frequency, ticks);
  return {TruncateToSigned<std::int64_t>(0.0 - units),
          TruncateToSigned<std::int32_t>(units / 10'000.0)};
}

}  // namespace VolmTime::Core
