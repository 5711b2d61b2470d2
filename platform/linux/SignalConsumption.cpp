// SPDX-License-Identifier: MIT
#include "platform/linux/SignalConsumption.h"

#include "platform/linux/HandleRegistry.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VolmTime::Platform::Linux {

namespace {

// A host's eventfd and timerfd are auto-reset objects too, but only a non-blocking one can
// be read without the risk of hanging the wait; anything else is left alone.
Consumption ConsumptionOfForeign(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || (flags & O_NONBLOCK) == 0) return Consumption::kNone;
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  std::array<char, 64> target{};
  const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
  if (length <= 0) return Consumption::kNone;
  const std::string_view kind(target.data(), static_cast<std::size_t>(length));
  const bool isCounter = kind == "anon_inode:[eventfd]" || kind == "anon_inode:[timerfd]";
  return isCounter ? Consumption::kCounter : Consumption::kNone;
}

// Only "nothing to read" means that someone else took the signal; any other failure is the
// object's own report, and the wait passes it on rather than spin on it.
bool ReadCounter(int descriptor) noexcept {
  std::uint64_t value = 0;
  return ::read(descriptor, &value, sizeof value) == static_cast<ssize_t>(sizeof value) ||
         errno != EAGAIN;
}

bool ConsumeTimerSet(int set) noexcept {
  std::array<epoll_event, 3> ready{};
  int count = 0;
  do {
    count = ::epoll_wait(set, ready.data(), static_cast<int>(ready.size()), 0);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return true;
  bool taken = false;
  for (int i = 0; i < count; ++i) {
    // Reading a timerfd takes all its expirations at once: periods that were missed do not
    // pile up, as they do not for a Win32 timer.
    if (ReadCounter(ready[static_cast<std::size_t>(i)].data.fd)) taken = true;
  }
  return taken;
}

Consumption ConsumptionOfEntry(const std::optional<HandleEntry>& entry, int descriptor) {
  if (!entry) return ConsumptionOfForeign(descriptor);
  switch (entry->kind) {
    case HandleKind::kAutoResetTimer:
      return Consumption::kTimerSet;
    case HandleKind::kManualResetTimer:
      return Consumption::kNone;
    case HandleKind::kAutoResetEvent:
      return Consumption::kCounter;
  }
  return Consumption::kNone;
}

}  // namespace

Consumption ConsumptionOf(int descriptor) {
  return ConsumptionOfEntry(LookUpHandle(descriptor), descriptor);
}

PollTargets PollTargetsOf(int descriptor) {
  const auto entry = LookUpHandle(descriptor);
  if (entry && entry->kind == HandleKind::kAutoResetTimer) {
    return {
        {entry->monotonicTimer, entry->realtimeTimer, entry->keptFiring}, 3, Consumption::kCounter};
  }
  return {{descriptor}, 1, ConsumptionOfEntry(entry, descriptor)};
}

bool Consume(int descriptor, Consumption consumption) noexcept {
  switch (consumption) {
    case Consumption::kNone:
      return true;
    case Consumption::kCounter:
      return ReadCounter(descriptor);
    case Consumption::kTimerSet:
      return ConsumeTimerSet(descriptor);
  }
  return false;
}

}  // namespace VolmTime::Platform::Linux
