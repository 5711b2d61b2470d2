#include "platform/Thread.h"

#include <sys/prctl.h>
#include <time.h>

namespace VolmTime::Platform {

namespace {
// prctl takes 0 as "back to the default slack", so the least settable slack is 1 ns.
constexpr unsigned long kLeastTimerSlackNs = 1;
}  // namespace

// sched_yield keeps the thread runnable but puts it behind every busy thread on its
// processor, which then keeps the processor for a whole scheduler slice (milliseconds). A
// sleep of one nanosecond takes the thread off the processor for the same purpose, and the
// scheduler lets a thread that wakes from a sleep run ahead of busy ones. With the timer
// slack at its least the sleep lasts a few microseconds; with the default slack about 50.
void YieldTimeSlice() noexcept {
  const timespec oneNanosecond{0, 1};
  (void)::clock_nanosleep(CLOCK_MONOTONIC, 0, &oneNanosecond, nullptr);
}

PreciseWakeUps::PreciseWakeUps() noexcept {
  const int current = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
  if (current < 0 || static_cast<unsigned long>(current) == kLeastTimerSlackNs) return;
  if (::prctl(PR_SET_TIMERSLACK, kLeastTimerSlackNs, 0, 0, 0) == 0) previous_ = current;
}

PreciseWakeUps::~PreciseWakeUps() {
  if (previous_ >= 0) {
    (void)::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(previous_), 0, 0, 0);
  }
}

}  // namespace VolmTime::Platform
