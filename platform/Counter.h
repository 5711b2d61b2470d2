// SPDX-License-Identifier: MIT
// The platform's high-resolution tick counter.
#ifndef VOLMTIME_PLATFORM_COUNTER_H
#define VOLMTIME_PLATFORM_COUNTER_H

#include <cstdint>

namespace VolmTime::Platform {

// Reads the monotonic tick counter. Returns false when the platform reports a failure (or a
// test has asked for one, see FaultInjection.h). Lock-free and allocation-free.
[[nodiscard]] bool ReadTick(std::uint64_t& tick) noexcept;

// Ticks per second of ReadTick; fixed for the life of the process. False on failure.
[[nodiscard]] bool ReadTickFrequency(std::uint64_t& frequency) noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_COUNTER_H
