// SPDX-License-Identifier: MIT
// Waitable timers with the semantics of Win32 waitable timers on every platform.
#ifndef VOLMTIME_PLATFORM_TIMER_H
#define VOLMTIME_PLATFORM_TIMER_H

#include "platform/ScopedHandle.h"

#include <cstdint>

namespace VolmTime::Platform {

// Creates an unnamed, idle timer with default security. A manual-reset timer stays signalled
// after it fires until it is armed again; an auto-reset timer is reset by the wait that it
// satisfies. Returns an invalid handle on failure. The handle stays the same for the timer's
// whole life, however it is armed, so it can sit in a host's own wait loop.
[[nodiscard]] UniqueHandle CreateWaitableTimer(bool manualReset) noexcept;

// Arms the timer, replacing an earlier arming and resetting its signalled state.
// dueTime: negative = relative to now in 100-ns units (on the monotonic clock);
//          positive = absolute in 100-ns units since 1601-01-01 UTC (follows the system
//          clock); 0 = a moment long past, so the timer fires at once.
// periodMs: 0 = fire once; positive = fire again every periodMs milliseconds; negative is
//          refused.
// Returns the platform's success flag.
[[nodiscard]] bool ArmWaitableTimer(NativeHandle timer, std::int64_t dueTime,
                                    std::int32_t periodMs) noexcept;

// Stops pending and periodic firings; a firing already signalled stays signalled.
[[nodiscard]] bool CancelWaitableTimer(NativeHandle timer) noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_TIMER_H
