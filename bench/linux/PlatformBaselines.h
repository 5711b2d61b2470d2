// SPDX-License-Identifier: MIT
// The platform's own counter read, sleep and periodic timer, used as a plain Linux program
// uses them: the baselines the library is measured against. And the real-time priority a
// program may give its waiting thread, under which both are measured once more.
#ifndef BENCH_LINUX_PLATFORMBASELINES_H
#define BENCH_LINUX_PLATFORMBASELINES_H

#include <time.h>

#include <chrono>
#include <cstdint>

// The counter the library reads, read directly; inline, as a program would call it.
inline timespec ReadPlatformCounter() noexcept {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  return now;
}

// clock_nanosleep on the monotonic clock.
void PlatformSleep(std::chrono::milliseconds duration) noexcept;

// A timerfd that fires every period from now on.
class PlatformPeriodicTimer {
 public:
  explicit PlatformPeriodicTimer(std::chrono::milliseconds period);
  PlatformPeriodicTimer(const PlatformPeriodicTimer&) = delete;
  PlatformPeriodicTimer& operator=(const PlatformPeriodicTimer&) = delete;
  ~PlatformPeriodicTimer();

  // Blocks until the timer has fired at least once since the last wait.
  void Wait() const noexcept;

 private:
  int descriptor_;
};

// The calling thread at a real-time (first in, first out) priority while this lives, when the
// process may take one (root, or CAP_SYS_NICE, or an RLIMIT_RTPRIO); processes and threads it
// starts in the meantime begin at the normal priority. A woken real-time thread runs at once;
// a thread of the normal policy may wait for a busy process to finish its time slice.
class RealTimePriority {
 public:
  RealTimePriority() noexcept;
  RealTimePriority(const RealTimePriority&) = delete;
  RealTimePriority& operator=(const RealTimePriority&) = delete;
  ~RealTimePriority();

  [[nodiscard]] bool Taken() const noexcept { return taken_; }

 private:
  int policy_;
  int priority_ = 0;
  bool taken_ = false;
};

#endif  // BENCH_LINUX_PLATFORMBASELINES_H
