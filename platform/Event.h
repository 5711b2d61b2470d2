// SPDX-License-Identifier: MIT
// Auto-reset events.
#ifndef VOLMTIME_PLATFORM_EVENT_H
#define VOLMTIME_PLATFORM_EVENT_H

#include "platform/ScopedHandle.h"

namespace VolmTime::Platform {

// Creates an unnamed auto-reset event, not signalled, with default security. The wait that
// an event satisfies resets it, so one SetEvent releases one waiting thread. Returns an
// invalid handle on failure.
[[nodiscard]] UniqueHandle CreateAutoResetEvent() noexcept;

[[nodiscard]] bool SetEvent(NativeHandle event) noexcept;
[[nodiscard]] bool ResetEvent(NativeHandle event) noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_EVENT_H
