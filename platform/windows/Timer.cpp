// SPDX-License-Identifier: MIT
#include "platform/Timer.h"

#include "platform/Backend.h"

#include <windows.h>

// <windows.h> maps this name to CreateWaitableTimerW; the platform layer's function of the
// same name is meant where it appears.
#undef CreateWaitableTimer

namespace VolmTime::Platform {

UniqueHandle CreateWaitableTimerImpl(bool manualReset) noexcept {
  return UniqueHandle(::CreateWaitableTimerW(nullptr, manualReset ? TRUE : FALSE, nullptr));
}

bool ArmWaitableTimerImpl(NativeHandle timer, std::int64_t dueTime,
                          std::int32_t periodMs) noexcept {
  LARGE_INTEGER due;
  due.QuadPart = dueTime;
  return ::SetWaitableTimer(timer, &due, periodMs, nullptr, nullptr, FALSE) != FALSE;
}

bool CancelWaitableTimer(NativeHandle timer) noexcept {
  return ::CancelWaitableTimer(timer) != FALSE;
}

}  // namespace VolmTime::Platform
