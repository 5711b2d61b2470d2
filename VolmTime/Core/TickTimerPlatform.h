// SPDX-License-Identifier: MIT
// The platform calls a tick timer makes, behind a small interface so tests can record the
// armings or make a creation fail without patching the platform.
#ifndef VOLMTIME_CORE_TICKTIMERPLATFORM_H
#define VOLMTIME_CORE_TICKTIMERPLATFORM_H

#include "platform/ScopedHandle.h"

#include <cstdint>

namespace VolmTime::Core {

class ITickTimerPlatform {
 public:
  virtual ~ITickTimerPlatform() = default;
  [[nodiscard]] virtual Platform::UniqueHandle CreateAutoResetTimer() = 0;
  [[nodiscard]] virtual Platform::UniqueHandle CreateAutoResetEvent() = 0;
  virtual bool ArmTimer(Platform::NativeHandle timer, std::int64_t dueTime,
                        std::int32_t periodMs) = 0;
  virtual bool CancelTimer(Platform::NativeHandle timer) = 0;
  virtual bool SetEvent(Platform::NativeHandle event) = 0;
  virtual bool ResetEvent(Platform::NativeHandle event) = 0;
  [[nodiscard]] virtual std::uint32_t WaitForAny(const Platform::NativeHandle* handles,
                                                 std::uint32_t count, std::uint32_t timeoutMs) = 0;
};

// The platform layer itself.
ITickTimerPlatform& SystemTickTimerPlatform() noexcept;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_TICKTIMERPLATFORM_H
