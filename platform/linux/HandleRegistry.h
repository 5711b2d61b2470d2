// SPDX-License-Identifier: MIT
// What kind of object each descriptor that the platform layer made is, so that waits know
// which signals to consume and closing knows what belongs to a handle. Private to the Linux
// backend.
#ifndef VOLMTIME_PLATFORM_LINUX_HANDLEREGISTRY_H
#define VOLMTIME_PLATFORM_LINUX_HANDLEREGISTRY_H

#include <optional>

namespace VolmTime::Platform::Linux {

enum class HandleKind { kAutoResetTimer, kManualResetTimer, kAutoResetEvent };

// A timer is an epoll descriptor (the stable handle) over a monotonic timerfd for relative
// due times, a realtime timerfd for absolute ones, and an eventfd that keeps a firing
// signalled across a cancel.
struct HandleEntry {
  HandleKind kind;
  int monotonicTimer = -1;
  int realtimeTimer = -1;
  int keptFiring = -1;
};

void RegisterHandle(int handle, const HandleEntry& entry);
std::optional<HandleEntry> LookUpHandle(int handle);
// Removes and returns the entry, if the handle had one.
std::optional<HandleEntry> UnregisterHandle(int handle);

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_HANDLEREGISTRY_H
