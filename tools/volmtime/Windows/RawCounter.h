// SPDX-License-Identifier: MIT
// The counter the Windows build of the library reads, read directly: the baseline of the
// built-in benchmarks.
#ifndef TOOLS_VOLMTIME_WINDOWS_RAWCOUNTER_H
#define TOOLS_VOLMTIME_WINDOWS_RAWCOUNTER_H

#include <windows.h>

#include <cstdint>

inline std::uint64_t ReadRawCounter() {
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  return static_cast<std::uint64_t>(now.QuadPart);
}

inline constexpr const char* kRawCounterName = "QueryPerformanceCounter";

#endif  // TOOLS_VOLMTIME_WINDOWS_RAWCOUNTER_H
