// SPDX-License-Identifier: MIT
#include "platform/Backend.h"

#include <windows.h>

namespace VolmTime::Platform {

bool ReadTickImpl(std::uint64_t& tick) noexcept {
  LARGE_INTEGER now;
  if (!::QueryPerformanceCounter(&now)) return false;
  tick = static_cast<std::uint64_t>(now.QuadPart);
  return true;
}

bool ReadTickFrequencyImpl(std::uint64_t& frequency) noexcept {
  LARGE_INTEGER perSecond;
  if (!::QueryPerformanceFrequency(&perSecond)) return false;
  frequency = static_cast<std::uint64_t>(perSecond.QuadPart);
  return true;
}

}  // namespace VolmTime::Platform
