// SPDX-License-Identifier: MIT
// The platform's precise wall-clock time.
#ifndef VOLMTIME_PLATFORM_SYSTEMTIME_H
#define VOLMTIME_PLATFORM_SYSTEMTIME_H

#include <cstdint>

namespace VolmTime::Platform {

// 100-nanosecond units since 1601-01-01 00:00 UTC (a FILETIME count).
[[nodiscard]] std::uint64_t PreciseSystemTime() noexcept;

// Difference between the FILETIME epoch (1601) and the Unix epoch (1970) in 100-ns units.
inline constexpr std::uint64_t kUnixEpochAsFileTime = 116'444'736'000'000'000u;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_SYSTEMTIME_H
