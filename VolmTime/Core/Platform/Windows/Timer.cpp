#include "VolmTime/Core/Platform/Timer.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <windows.h>

// <windows.h> maps this name to CreateWaitableTimerW; the platform layer's function of the
// same name is meant here.
#undef CreateWaitableTimer

namespace VolmTime::Core::Platform {

UniqueHandle CreateWaitableTimer(bool manualReset) noexcept {
  if (TakeFault(Faults().failTimerCreations)) return {};
  return UniqueHandle(::CreateWaitableTimerW(nullptr, manualReset ? TRUE : FALSE, nullptr));
}

bool ArmWaitableTimer(NativeHandle timer, std::int64_t dueTime, std::int32_t periodMs) noexcept {
  // Windows refuses a negative period; not every implementation of the call does.
  if (periodMs < 0) return false;
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  return ::SetWaitableTimer(timer, &due, periodMs, nullptr, nullptr, FALSE) != FALSE;
}

bool CancelWaitableTimer(NativeHandle timer) noexcept {
  return ::CancelWaitableTimer(timer) != FALSE;
}

}  // namespace VolmTime::Core::Platform
