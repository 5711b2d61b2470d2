// SPDX-License-Identifier: MIT
// The platform's performance counter as a core counter: ticks, their fixed frequency, and
// waits for a number of ticks.
#ifndef VOLMTIME_CORE_WINDOWSCOUNTER_H
#define VOLMTIME_CORE_WINDOWSCOUNTER_H

#include "VolmTime/Core/IHighResolutionCounter.h"
#include "VolmTime/Core/WakeUpMargin.h"

namespace VolmTime::Core {

class WindowsCounter : public IHighResolutionCounter {
 public:
  // Throws CException when the frequency cannot be read.
  WindowsCounter();

  [[nodiscard]] const WideString& GetName() const override { return name_; }
  // This counter makes no tick timers of its own; always throws.
  [[nodiscard]] std::unique_ptr<IWaitableTickTimer> CreateTickTimer() override;
  // Blocks on a platform timer for the bulk of the wait, then yields until at least `ticks`
  // ticks have passed.
  void SleepTick(std::uint64_t ticks) override;
  [[nodiscard]] std::uint64_t GetFrequency() const override { return frequency_; }
  [[nodiscard]] std::uint64_t GetTick() const override;
  [[nodiscard]] bool IsAvailable() const override { return true; }
  [[nodiscard]] bool HasTickTimer() const override { return false; }
  // Yields until more than `ticks` ticks have passed; never blocks on a kernel object.
  void SpinTick(std::uint64_t ticks) override;

 private:
  std::uint64_t frequency_ = 0;
  WideString name_;
  // How early SleepTick arms its timer; learnt from the waits of all threads.
  WakeUpMargin wakeUpMargin_;
};

// The relative due time (negative, 100-ns units) of a wait for `ticks` at `frequency`,
// computed without overflow for any tick count and limited to what the platform accepts.
[[nodiscard]] std::int64_t SleepDueTime(std::uint64_t ticks, std::uint64_t frequency) noexcept;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_WINDOWSCOUNTER_H
