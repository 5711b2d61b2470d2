// SPDX-License-Identifier: MIT
#include "platform/Thread.h"

#include "platform/linux/ProcessorLoad.h"

#include <sched.h>
#include <sys/prctl.h>
#include <time.h>

#include <chrono>

namespace VolmTime::Platform {

namespace {

// prctl takes 0 as "back to the default slack", so the least settable slack is 1 ns.
constexpr unsigned long kLeastTimerSlackNs = 1;

// A sched_yield that finds no other thread to run returns within microseconds; one that
// took longer than this gave the processor away.
constexpr std::chrono::microseconds kLongestIdleYield{50};

void SleepOneNanosecond() noexcept {
  const timespec oneNanosecond{0, 1};
  (void)::clock_nanosleep(CLOCK_MONOTONIC, 0, &oneNanosecond, nullptr);
}

}  // namespace

PreciseWakeUps::PreciseWakeUps() noexcept
    : yielding_(Linux::EveryRunnableThreadHasAProcessor() ? Yielding::ToTheScheduler
                                                          : Yielding::BySleeping) {
  const int current = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
  if (current < 0 || static_cast<unsigned long>(current) == kLeastTimerSlackNs) return;
  if (::prctl(PR_SET_TIMERSLACK, kLeastTimerSlackNs, 0, 0, 0) == 0) previousSlack_ = current;
}

PreciseWakeUps::~PreciseWakeUps() {
  if (previousSlack_ >= 0) {
    (void)::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(previousSlack_), 0, 0, 0);
  }
}

// On an idle processor sched_yield returns at once and the counter is read again within a
// microsecond or two. When every processor is busy it puts the thread behind the busy
// threads, which then keep the processor for a whole scheduler slice (milliseconds); a sleep
// of one nanosecond takes the thread off the processor instead, and the scheduler lets a
// thread that wakes from a sleep run ahead of busy ones. With the timer slack at its least
// that sleep lasts some microseconds, so it is kept for when the processors are all taken:
// when the machine is found busy as the wait begins, or a yield turns out to have given the
// processor away.
void PreciseWakeUps::YieldTimeSlice() noexcept {
  if (yielding_ == Yielding::BySleeping) {
    SleepOneNanosecond();
    return;
  }
  const auto before = std::chrono::steady_clock::now();
  (void)::sched_yield();
  // A long yield either gave the processor to a busy thread, which is still runnable, or lost
  // it to something that is gone now (an interrupt, the hypervisor running another guest).
  if (std::chrono::steady_clock::now() - before > kLongestIdleYield &&
      !Linux::EveryRunnableThreadHasAProcessor()) {
    yielding_ = Yielding::BySleeping;
  }
}

}  // namespace VolmTime::Platform
