// SPDX-License-Identifier: MIT
#include "platform/Timer.h"

#include "platform/Backend.h"
#include "platform/linux/HandleRegistry.h"
#include "platform/SystemTime.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cstdint>
#include <limits>

namespace VolmTime::Platform {

namespace {

constexpr std::uint64_t kUnitsPerSecond = kTimeUnitsPerSecond;

timespec FromTimeUnits(std::uint64_t units) noexcept {
  return {static_cast<time_t>(units / kUnitsPerSecond),
          static_cast<long>((units % kUnitsPerSecond) * 100)};
}

timespec FromMilliseconds(std::int32_t milliseconds) noexcept {
  return {static_cast<time_t>(milliseconds / 1000),
          static_cast<long>(milliseconds % 1000) * 1'000'000L};
}

bool Disarm(int timer) noexcept {
  const itimerspec off{};
  return ::timerfd_settime(timer, 0, &off, nullptr) == 0;
}

void Drain(int descriptor) noexcept {
  std::uint64_t count = 0;
  while (::read(descriptor, &count, sizeof count) == static_cast<ssize_t>(sizeof count)) {
  }
}

bool AddToSet(int set, int member) noexcept {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = member;
  return ::epoll_ctl(set, EPOLL_CTL_ADD, member, &event) == 0;
}

// The timer behind a handle; nothing when the handle is unknown or names an event.
std::optional<Linux::HandleEntry> LookUpTimer(NativeHandle handle) noexcept {
  try {
    std::optional<Linux::HandleEntry> entry = Linux::LookUpHandle(handle);
    if (entry && entry->kind != Linux::HandleKind::kAutoResetEvent) return entry;
  } catch (...) {
  }
  return std::nullopt;
}

}  // namespace

UniqueHandle CreateWaitableTimerImpl(bool manualReset) noexcept {
  UniqueHandle set(::epoll_create1(EPOLL_CLOEXEC));
  UniqueHandle monotonic(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  UniqueHandle realtime(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
  UniqueHandle keptFiring(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!set || !monotonic || !realtime || !keptFiring) return {};
  if (!AddToSet(set.Get(), monotonic.Get()) || !AddToSet(set.Get(), realtime.Get()) ||
      !AddToSet(set.Get(), keptFiring.Get())) {
    return {};
  }
  Linux::HandleEntry entry{manualReset ? Linux::HandleKind::kManualResetTimer
                                       : Linux::HandleKind::kAutoResetTimer};
  entry.monotonicTimer = monotonic.Get();
  entry.realtimeTimer = realtime.Get();
  entry.keptFiring = keptFiring.Get();
  try {
    Linux::RegisterHandle(set.Get(), entry);
  } catch (...) {
    return {};
  }
  // From here the registry owns the inner descriptors; closing the set closes them.
  (void)monotonic.Take();
  (void)realtime.Take();
  (void)keptFiring.Take();
  return set;
}

bool ArmWaitableTimerImpl(NativeHandle timer, std::int64_t dueTime,
                          std::int32_t periodMs) noexcept {
  const std::optional<Linux::HandleEntry> entry = LookUpTimer(timer);
  if (!entry) return false;

  // Arming resets the signalled state, a firing kept across a cancel included.
  Drain(entry->keptFiring);
  itimerspec setting{};
  setting.it_interval = FromMilliseconds(periodMs);
  int armed = entry->monotonicTimer;
  int idle = entry->realtimeTimer;
  int flags = 0;
  const auto epoch = static_cast<std::int64_t>(kUnixEpochAsFileTime);
  if (dueTime < 0) {
    // Relative: on the monotonic clock, so a change of the system time does not move it.
    const std::uint64_t units =
        dueTime == std::numeric_limits<std::int64_t>::min()
            ? static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
            : static_cast<std::uint64_t>(-dueTime);
    setting.it_value = FromTimeUnits(units);
  } else if (dueTime > epoch) {
    // Absolute: on the system clock, so it fires when the system time reaches it.
    setting.it_value = FromTimeUnits(static_cast<std::uint64_t>(dueTime - epoch));
    armed = entry->realtimeTimer;
    idle = entry->monotonicTimer;
    flags = TFD_TIMER_ABSTIME;
  }
  // A zero value would disarm the timerfd; a due time of 0 (or before 1970) is long past and
  // fires at once.
  if (setting.it_value.tv_sec == 0 && setting.it_value.tv_nsec == 0) setting.it_value.tv_nsec = 1;
  if (!Disarm(idle)) return false;
  return ::timerfd_settime(armed, flags, &setting, nullptr) == 0;
}

bool CancelWaitableTimer(NativeHandle timer) noexcept {
  const std::optional<Linux::HandleEntry> entry = LookUpTimer(timer);
  if (!entry) return false;
  // Disarming a timerfd forgets its expirations; a firing that already happened must stay
  // signalled, so it moves to the kept-firing event first.
  bool fired = false;
  for (const int inner : {entry->monotonicTimer, entry->realtimeTimer}) {
    std::uint64_t expirations = 0;
    if (::read(inner, &expirations, sizeof expirations) ==
        static_cast<ssize_t>(sizeof expirations)) {
      fired = true;
    }
  }
  const bool disarmed = Disarm(entry->monotonicTimer) && Disarm(entry->realtimeTimer);
  if (fired) {
    const std::uint64_t one = 1;
    // Adding 1 to an eventfd fails only at a count near 2^64; fortified builds want the
    // result taken all the same.
    [[maybe_unused]] const ssize_t kept = ::write(entry->keptFiring, &one, sizeof one);
  }
  return disarmed;
}

}  // namespace VolmTime::Platform
