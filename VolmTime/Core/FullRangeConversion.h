// SPDX-License-Identifier: MIT
// Conversions between unsigned 64-bit counts and doubles over the whole unsigned range, as
// every tick and time mapping of the module needs them.
#ifndef VOLMTIME_CORE_FULLRANGECONVERSION_H
#define VOLMTIME_CORE_FULLRANGECONVERSION_H

#include <cstdint>

namespace VolmTime::Core {

inline constexpr double kTwoTo63 = 9223372036854775808.0;
inline constexpr double kTwoTo64 = 18446744073709551616.0;

// Truncates toward zero. Values from 2^63 up to 2^64 convert in full (the plain conversion
// to a signed type would lose the top bit). Values without an unsigned 64-bit meaning get a
// fixed answer instead of undefined behaviour: NaN and anything at or below 0 give 0, and
// 2^64 or more gives the largest count.
[[nodiscard]] constexpr std::uint64_t TruncateToUint64(double value) noexcept {
  // Clock readings take this branch on every call.
  if (value > 0.0 && value < kTwoTo63) [[likely]] return static_cast<std::uint64_t>(value);
  if (!(value > 0.0)) return 0;  // also NaN
  if (value >= kTwoTo64) return UINT64_MAX;
  if (value >= kTwoTo63) {
    return static_cast<std::uint64_t>(value - kTwoTo63) + (std::uint64_t{1} << 63);
  }
  return static_cast<std::uint64_t>(value);
}

// The nearest double to an unsigned count.
[[nodiscard]] constexpr double ToDouble(std::uint64_t value) noexcept {
  return static_cast<double>(value);
}

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_FULLRANGECONVERSION_H
