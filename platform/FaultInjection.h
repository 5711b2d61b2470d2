// SPDX-License-Identifier: MIT
// A seam through which tests make platform calls fail that cannot be made to fail for real.
// Each counter says how many of the next calls of its kind fail; 0 (the default) means none.
// Production code never sets them.
#ifndef VOLMTIME_PLATFORM_FAULTINJECTION_H
#define VOLMTIME_PLATFORM_FAULTINJECTION_H

#include <atomic>
#include <cstdint>

namespace VolmTime::Platform {

struct FaultInjection {
  std::atomic<std::int32_t> failTimerCreations{0};
  std::atomic<std::int32_t> failEventCreations{0};
  std::atomic<std::int32_t> failTickReads{0};
  std::atomic<std::int32_t> failFrequencyReads{0};
  std::atomic<std::int32_t> failMappings{0};
};

FaultInjection& Faults() noexcept;

// Consumes one planned failure from `counter`; true when the call should fail. The common
// case (no failure planned) is one relaxed load.
inline bool TakeFault(std::atomic<std::int32_t>& counter) noexcept {
  if (counter.load(std::memory_order_relaxed) <= 0) return false;
  std::int32_t left = counter.load(std::memory_order_relaxed);
  while (left > 0) {
    if (counter.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) return true;
  }
  return false;
}

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_FAULTINJECTION_H
