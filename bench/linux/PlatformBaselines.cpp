#include "PlatformBaselines.h"

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
