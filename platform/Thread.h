// SPDX-License-Identifier: MIT
// Scheduling helpers.
#ifndef VOLMTIME_PLATFORM_THREAD_H
#define VOLMTIME_PLATFORM_THREAD_H

namespace VolmTime::Platform {

// Lives through one precise wait of the calling thread: a wait that sleeps for the bulk of
// the time and then reads the counter until it reaches its tick, giving up the processor
// between two readings. While it lives, the thread's short sleeps end as close to when they
// are due as the platform allows, instead of being held back to gather wake-ups; the
// thread's previous setting comes back at the end. Create, use and destroy it on one thread.
class PreciseWakeUps {
 public:
  PreciseWakeUps() noexcept;
  ~PreciseWakeUps();
  PreciseWakeUps(const PreciseWakeUps&) = delete;
  PreciseWakeUps& operator=(const PreciseWakeUps&) = delete;

  // Gives up the rest of the calling thread's time slice, so that others may run between two
  // readings of the counter, and comes back as soon as the platform can.
  void YieldTimeSlice() noexcept;

 private:
  // How the processor is given up. Chosen when the wait begins, not at its first yield:
  // looking at the machine costs tens of microseconds on some, which a wait that ends in
  // microseconds cannot spend.
  enum class Yielding { ToTheScheduler, BySleeping };

  long previousSlack_ = -1;
  Yielding yielding_ = Yielding::ToTheScheduler;
};

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_THREAD_H
