// SPDX-License-Identifier: MIT
// Waiting on one or several handles, with the outcomes of the Win32 wait functions.
#ifndef VOLMTIME_PLATFORM_WAIT_H
#define VOLMTIME_PLATFORM_WAIT_H

#include "platform/PlatformTypes.h"

#include <cstdint>

namespace VolmTime::Platform {

// Waits until the handle is signalled or timeoutMs elapses (kInfinite: no limit).
// Returns kWaitObject0, kWaitTimeout or kWaitFailed.
[[nodiscard]] std::uint32_t WaitForOne(NativeHandle handle, std::uint32_t timeoutMs) noexcept;

// Waits for any one (waitAll false) or all (waitAll true) of count handles.
// Returns kWaitObject0 + the lowest signalled index (waitAll false), kWaitObject0 (waitAll
// true), kWaitTimeout, or kWaitFailed for an invalid handle, a null array, a count of 0 or
// more than kMaximumWaitObjects. The wait consumes the signal of the auto-reset objects it
// reports (timers, events), so one signal releases one waiting thread. On Linux a host may
// pass any pollable descriptor (pipe, socket, eventfd); of those, only the signals of
// non-blocking eventfd and timerfd descriptors are consumed (a read of a blocking one could
// hang), and a pipe's or socket's data is left for the host.
[[nodiscard]] std::uint32_t WaitForMany(const NativeHandle* handles, std::uint32_t count,
                                        bool waitAll, std::uint32_t timeoutMs) noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_WAIT_H
