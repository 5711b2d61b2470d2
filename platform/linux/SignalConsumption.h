// SPDX-License-Identifier: MIT
// What a satisfied wait does to the signal of each descriptor it reports: Win32 waits reset
// auto-reset objects, so one signal releases one waiting thread. Private to the Linux
// backend.
#ifndef VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H
#define VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H

#include <array>
#include <cstdint>

namespace VolmTime::Platform::Linux {

enum class Consumption {
  kNone,      // a host's pipe or socket, a manual-reset timer: left as it is
  kCounter,   // an auto-reset event, a host's non-blocking eventfd or timerfd, or one
              // descriptor of our auto-reset timer (see PollTargetsOf): one read
  kTimerSet,  // one of our auto-reset timers as a whole, through its epoll set: a read of
              // whichever inner descriptor is ready
};

// Looks the descriptor up among the platform layer's own objects, or finds out what kind
// of descriptor the host passed. May throw std::bad_alloc or std::system_error.
Consumption ConsumptionOf(int descriptor);

// What a wait for any one object polls for a descriptor and how it takes each signal. One of
// our auto-reset timers is polled through its inner timers and kept-firing event, each taken
// with one read: its firing then wakes the waiter straight from the timerfd, with no epoll
// set in between and no look into the set after the wake. Anything else is the descriptor
// itself, with ConsumptionOf's consumption. May throw as ConsumptionOf does.
struct PollTargets {
  std::array<int, 3> descriptors{};
  std::uint32_t count = 0;
  Consumption consumption = Consumption::kNone;
};
PollTargets PollTargetsOf(int descriptor);

// Takes the signal. False when there was none to take (another waiter took it first).
bool Consume(int descriptor, Consumption consumption) noexcept;

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H
