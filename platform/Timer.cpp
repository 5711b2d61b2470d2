// SPDX-License-Identifier: MIT
#include "platform/Timer.h"

#include "platform/Backend.h"
#include "platform/FaultInjection.h"

namespace VolmTime::Platform {

UniqueHandle CreateWaitableTimer(bool manualReset) noexcept {
  if (TakeFault(Faults().failTimerCreations)) return {};
  return CreateWaitableTimerImpl(manualReset);
}

bool ArmWaitableTimer(NativeHandle timer, std::int64_t dueTime, std::int32_t periodMs) noexcept {
  // Windows refuses a negative period; timerfd would take it as a large one.
  if (periodMs < 0) return false;
  return ArmWaitableTimerImpl(timer, dueTime, periodMs);
}

}  // namespace VolmTime::Platform
