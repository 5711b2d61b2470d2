// SPDX-License-Identifier: MIT
// The core counter: ticks, their frequency and waits measured in ticks. Failures throw
// CException.
#ifndef VOLMTIME_CORE_IHIGHRESOLUTIONCOUNTER_H
#define VOLMTIME_CORE_IHIGHRESOLUTIONCOUNTER_H

#include "VolmTime/Core/IWaitableTickTimer.h"
#include "framework/WideText.h"

#include <cstdint>
#include <memory>

namespace VolmTime::Core {

class IHighResolutionCounter {
 public:
  virtual ~IHighResolutionCounter() = default;
  [[nodiscard]] virtual const WideString& GetName() const = 0;
  // A new tick timer owned by the caller, for counters whose HasTickTimer() is true.
  [[nodiscard]] virtual std::unique_ptr<IWaitableTickTimer> CreateTickTimer() = 0;
  virtual void SleepTick(std::uint64_t ticks) = 0;
  [[nodiscard]] virtual std::uint64_t GetFrequency() const = 0;
  [[nodiscard]] virtual std::uint64_t GetTick() const = 0;
  [[nodiscard]] virtual bool IsAvailable() const = 0;
  [[nodiscard]] virtual bool HasTickTimer() const = 0;
  virtual void SpinTick(std::uint64_t ticks) = 0;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_IHIGHRESOLUTIONCOUNTER_H
