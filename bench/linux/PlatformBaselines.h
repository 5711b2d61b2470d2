// The platform's own counter read, sleep and periodic timer, used as a plain Linux program
// uses them: the baselines the library is measured against.
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

#endif  // BENCH_LINUX_PLATFORMBASELINES_H
