// SPDX-License-Identifier: MIT
// How much sooner than asked a precise wait sets its platform timer, so that the timer wakes
// the thread before the target and the counter decides the rest. How late a platform timer
// wakes a sleeper depends on the machine and moves with time: a virtual processor that was
// idle for milliseconds can be woken hundreds of microseconds late, the same one busy within
// tens. The margin follows the wake-ups of recent waits: it settles where one wake-up in
// twenty is later than it, between fixed bounds.
#ifndef VOLMTIME_CORE_WAKEUPMARGIN_H
#define VOLMTIME_CORE_WAKEUPMARGIN_H

#include <atomic>
#include <cstdint>

namespace VolmTime::Core {

class WakeUpMargin {
 public:
  // Bounds of the margin in 100-ns units: 200 us covers a quiet machine's timer; past 1 ms,
  // the time spent yielding would cost more processor than the precision is worth.
  static constexpr std::int64_t kLeastUnits = 2'000;
  static constexpr std::int64_t kMostUnits = 10'000;
  // A wake-up later than the margin raises it by kRiseUnits, any other lowers it by
  // kFallUnits; it rests where 1 in 20 wake-ups is later than the margin.
  static constexpr std::int64_t kFallUnits = 20;
  static constexpr std::int64_t kRiseUnits = 19 * kFallUnits;

  // The margin for the next wait, in 100-ns units.
  [[nodiscard]] std::int64_t Units() const noexcept {
    return units_.load(std::memory_order_relaxed);
  }

  // Learns from one wait whose timer was due `dueUnits` after the wait began and woke the
  // thread `elapsedUnits` after it began.
  void Observe(std::int64_t elapsedUnits, std::int64_t dueUnits) noexcept {
    const std::int64_t margin = Units();
    const std::int64_t next =
        elapsedUnits - dueUnits > margin ? margin + kRiseUnits : margin - kFallUnits;
    // Waits on other threads may learn at the same time; losing one of their steps is harmless.
    units_.store(next < kLeastUnits ? kLeastUnits : next > kMostUnits ? kMostUnits : next,
                 std::memory_order_relaxed);
  }

 private:
  std::atomic<std::int64_t> units_{kLeastUnits};
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_WAKEUPMARGIN_H
