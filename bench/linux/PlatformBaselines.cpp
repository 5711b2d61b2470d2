// SPDX-License-Identifier: MIT
#include "PlatformBaselines.h"

#include <sched.h>
#include <sys/timerfd.h>
#include <unistd.h>

void PlatformSleep(std::chrono::milliseconds duration) noexcept {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  const timespec request{static_cast<time_t>(seconds.count()),
                         static_cast<long>((duration - seconds).count()) * 1'000'000L};
  clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr);
}

PlatformPeriodicTimer::PlatformPeriodicTimer(std::chrono::milliseconds period)
    : descriptor_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(period);
  const timespec interval{static_cast<time_t>(seconds.count()),
                          static_cast<long>((period - seconds).count()) * 1'000'000L};
  const itimerspec setting{interval, interval};
  timerfd_settime(descriptor_, 0, &setting, nullptr);
}

PlatformPeriodicTimer::~PlatformPeriodicTimer() { close(descriptor_); }

void PlatformPeriodicTimer::Wait() const noexcept {
  std::uint64_t expirations = 0;
  [[maybe_unused]] const ssize_t bytes = read(descriptor_, &expirations, sizeof expirations);
}

RealTimePriority::RealTimePriority() noexcept : policy_(sched_getscheduler(0)) {
  sched_param old{};
  if (policy_ < 0 || sched_getparam(0, &old) != 0) return;
  priority_ = old.sched_priority;
  // Low among real-time priorities: above every thread of the normal policy, below the
  // kernel's own real-time threads.
  const sched_param raised{10};
  taken_ = sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &raised) == 0;
}

RealTimePriority::~RealTimePriority() {
  if (!taken_) return;
  const sched_param old{priority_};
  sched_setscheduler(0, policy_, &old);
}
