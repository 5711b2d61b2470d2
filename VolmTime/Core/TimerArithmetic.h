// SPDX-License-Identifier: MIT
// How tick counts become the due times and periods of a platform timer. The order of the
// floating-point steps is part of the result: the factor is computed first, then the
// product, and every conversion truncates.
#ifndef VOLMTIME_CORE_TIMERARITHMETIC_H
#define VOLMTIME_CORE_TIMERARITHMETIC_H

#include <cstdint>

namespace VolmTime::Core {

struct TimerArming {
  // Negative: relative to now, in 100-ns units. 0: fire at once.
  std::int64_t dueTime;
  // Milliseconds between firings; 0 fires once.
  std::int32_t periodMs;
};

// The 100-ns units that `ticks` last at `frequency` ticks per second, as a double
// (10,000,000.0 / frequency first, then times ticks).
[[nodiscard]] double TicksToTimeUnits(std::uint64_t frequency, std::uint64_t ticks) noexcept;

// A one-shot arming `ticks` from now.
[[nodiscard]] TimerArming RelativeArming(std::uint64_t frequency, std::uint64_t ticks) noexcept;

// A periodic arming: first firing `ticks` from now, then every `ticks` in whole
// milliseconds (truncated; under 1 ms the timer fires once). Periods beyond the signed
// 32-bit range are clamped to its largest value.
[[nodiscard]] TimerArming PeriodicArming(std::uint64_t frequency, std::uint64_t ticks) noexcept;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_TIMERARITHMETIC_H
