// SPDX-License-Identifier: MIT
// The core tick timer: a platform waitable timer armed in counter ticks, and a cancel event
// that wakes its waiter.
#ifndef VOLMTIME_CORE_IWAITABLETICKTIMER_H
#define VOLMTIME_CORE_IWAITABLETICKTIMER_H

#include "platform/PlatformTypes.h"

#include <cstdint>

namespace VolmTime::Core {

class IWaitableTickTimer {
 public:
  virtual ~IWaitableTickTimer() = default;
  // Throws CException "CreateWaitableTimer failed!" when the timer could not be created.
  [[nodiscard]] virtual Platform::NativeHandle GetHandle() const = 0;
  // 0 after a firing, a timeout or a failed wait; -1 after a cancellation.
  [[nodiscard]] virtual std::int32_t Wait(std::uint32_t timeoutMs) = 0;
  // Each returns the platform's success flag of the arming or signalling.
  virtual bool SetAbsolute(std::uint64_t tick) = 0;
  virtual bool SetRelative(std::uint64_t ticks) = 0;
  virtual bool SetPeriodic(std::uint64_t ticks) = 0;
  virtual bool Cancel() = 0;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_IWAITABLETICKTIMER_H
