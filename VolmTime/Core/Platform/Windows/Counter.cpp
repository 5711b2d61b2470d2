#include "VolmTime/Core/Platform/Counter.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <windows.h>

namespace VolmTime::Core::Platform {

bool ReadTick(std::uint64_t& tick) noexcept {
  if (TakeFault(Faults().failTickReads)) return false;
  LARGE_INTEGER now;
  if (!::QueryPerformanceCounter(&now)) return false;
  tick = static_cast<std::uint64_t>(now.QuadPart);
  return true;
}

bool ReadTickFrequency(std::uint64_t& frequency) noexcept {
  if (TakeFault(Faults().failFrequencyReads)) return false;
  LARGE_INTEGER perSecond;
  if (!::QueryPerformanceFrequency(&perSecond)) return false;
  frequency = static_cast<std::uint64_t>(perSecond.QuadPart);
  return true;
}

}  // namespace VolmTime::Core::Platform
