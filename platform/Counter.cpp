// SPDX-License-Identifier: MIT
#include "platform/Counter.h"

#include "platform/Backend.h"
#include "platform/FaultInjection.h"

namespace VolmTime::Platform {

bool ReadTick(std::uint64_t& tick) noexcept {
  if (TakeFault(Faults().failTickReads)) return false;
  return ReadTickImpl(tick);
}

bool ReadTickFrequency(std::uint64_t& frequency) noexcept {
  if (TakeFault(Faults().failFrequencyReads)) return false;
  return ReadTickFrequencyImpl(frequency);
}

}  // namespace VolmTime::Platform
