// SPDX-License-Identifier: MIT
// What the Windows library does when the loader maps it into a process.
#ifndef VOLMTIME_PLATFORM_MODULELOAD_H
#define VOLMTIME_PLATFORM_MODULELOAD_H

namespace VolmTime::Platform {

// The module needs no per-thread notifications: turning them off spares every thread start
// and exit in the host a call into the library. `module` is the library's own instance.
void OnModuleLoaded(void* module) noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_MODULELOAD_H
