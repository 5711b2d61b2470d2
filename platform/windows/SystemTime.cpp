// SPDX-License-Identifier: MIT
#include "platform/SystemTime.h"

#include <windows.h>

namespace VolmTime::Platform {

std::uint64_t PreciseSystemTime() noexcept {
  FILETIME now;
  ::GetSystemTimePreciseAsFileTime(&now);
  return (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

}  // namespace VolmTime::Platform
