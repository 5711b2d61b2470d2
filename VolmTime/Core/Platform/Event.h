// Auto-reset events.
#ifndef VOLMTIME_CORE_PLATFORM_EVENT_H
#define VOLMTIME_CORE_PLATFORM_EVENT_H

#include "VolmTime/Core/Platform/ScopedHandle.h"

namespace VolmTime::Core::Platform {

// Creates an unnamed auto-reset event, not signalled, with default security. The wait that
// an event satisfies resets it, so one SetEvent releases one waiting thread. Returns an
// invalid handle on failure.
[[nodiscard]] UniqueHandle CreateAutoResetEvent() noexcept;

[[nodiscard]] bool SetEvent(NativeHandle event) noexcept;
[[nodiscard]] bool ResetEvent(NativeHandle event) noexcept;

}  // namespace VolmTime::Core::Platform

#endif  // VOLMTIME_CORE_PLATFORM_EVENT_H
