// SPDX-License-Identifier: MIT
#include "platform/SystemTime.h"
#include "platform/PlatformTypes.h"

#include <time.h>

namespace VolmTime::Platform {

std::uint64_t PreciseSystemTime() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  // 100-ns units since 1601, like a FILETIME.
  return static_cast<std::uint64_t>(now.tv_sec) * kTimeUnitsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec) / 100u + kUnixEpochAsFileTime;
}

}  // namespace VolmTime::Platform
