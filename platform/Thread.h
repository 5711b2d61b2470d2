// Scheduling helpers.
#ifndef VOLMTIME_PLATFORM_THREAD_H
#define VOLMTIME_PLATFORM_THREAD_H

namespace VolmTime::Platform {

// Gives up the rest of the calling thread's time slice, so that a thread waiting for the
// counter to reach a tick leaves the processor to others between two readings.
void YieldTimeSlice() noexcept;

// While an object lives, the calling thread's short sleeps (YieldTimeSlice above all) end
// as close to when they are due as the platform allows, instead of being held back to
// gather wake-ups; the thread's previous setting comes back at the end. Does nothing on
// platforms without such a setting. Create and destroy it on the same thread.
class PreciseWakeUps {
 public:
  PreciseWakeUps() noexcept;
  ~PreciseWakeUps();
  PreciseWakeUps(const PreciseWakeUps&) = delete;
  PreciseWakeUps& operator=(const PreciseWakeUps&) = delete;

 private:
  long previous_ = -1;
};

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_THREAD_H
