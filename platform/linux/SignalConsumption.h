// What a satisfied wait does to the signal of each descriptor it reports: Win32 waits reset
// auto-reset objects, so one signal releases one waiting thread. Private to the Linux
// backend.
#ifndef VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H
#define VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H

namespace VolmTime::Platform::Linux {

enum class Consumption {
  kNone,      // a host's pipe or socket, a manual-reset timer: left as it is
  kCounter,   // an auto-reset event, a host's non-blocking eventfd or timerfd: one read
  kTimerSet,  // one of our auto-reset timers: a read of whichever inner timer is ready
};

// Looks the descriptor up among the platform layer's own objects, or finds out what kind
// of descriptor the host passed. May throw std::bad_alloc or std::system_error.
Consumption ConsumptionOf(int descriptor);

// Takes the signal. False when there was none to take (another waiter took it first).
bool Consume(int descriptor, Consumption consumption) noexcept;

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_SIGNALCONSUMPTION_H
