// SPDX-License-Identifier: MIT
// The counter the Linux build of the library reads, read directly: the baseline of the
// built-in benchmarks.
#ifndef TOOLS_VOLMTIME_LINUX_RAWCOUNTER_H
#define TOOLS_VOLMTIME_LINUX_RAWCOUNTER_H

#include <time.h>

#include <cstdint>

inline std::uint64_t ReadRawCounter() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<std::uint64_t>(now.tv_nsec);
}

inline constexpr const char* kRawCounterName = "clock_gettime(CLOCK_MONOTONIC_RAW)";

#endif  // TOOLS_VOLMTIME_LINUX_RAWCOUNTER_H
