#include "VolmTime/Core/Platform/Wait.h"

#include "VolmTime/Core/Platform/Linux/HandleRegistry.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace VolmTime::Core::Platform {

namespace {

using Clock = std::chrono::steady_clock;

// What a satisfied wait does to a descriptor's signal.
enum class Consumption {
  kNone,          // the host's own pipe or socket, a manual-reset timer: left as it is
  kCounter,       // an eventfd or timerfd: one read resets it
  kTimerSet,      // one of our timers: read whichever inner descriptor is ready
};

struct Waited {
  int descriptor;
  Consumption consumption;
};

// Descriptors the host made itself: eventfd and timerfd are auto-reset objects when they
// are non-blocking (a read of a blocking one could hang the wait).
Consumption ClassifyForeign(int descriptor) noexcept {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || (flags & O_NONBLOCK) == 0) return Consumption::kNone;
  char path[64];
  char target[64] = {};
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
  const ssize_t length = ::readlink(path, target, sizeof target - 1);
  if (length <= 0) return Consumption::kNone;
  const std::string_view kind(target, static_cast<std::size_t>(length));
  if (kind == "anon_inode:[eventfd]" || kind == "anon_inode:[timerfd]") return Consumption::kCounter;
  return Consumption::kNone;
}

Consumption Classify(int descriptor) {
  const auto entry = Linux::LookUpHandle(descriptor);
  if (!entry) return ClassifyForeign(descriptor);
  switch (entry->kind) {
    case Linux::HandleKind::kAutoResetTimer:
      return Consumption::kTimerSet;
    case Linux::HandleKind::kManualResetTimer:
      return Consumption::kNone;
    case Linux::HandleKind::kAutoResetEvent:
      return Consumption::kCounter;
  }
  return Consumption::kNone;
}

bool ReadCounter(int descriptor) noexcept {
  std::uint64_t value = 0;
  return ::read(descriptor, &value, sizeof value) == static_cast<ssize_t>(sizeof value);
}

// Takes the signal; false when another waiter took it first.
bool Consume(const Waited& waited) noexcept {
  switch (waited.consumption) {
    case Consumption::kNone:
      return true;
    case Consumption::kCounter:
      return ReadCounter(waited.descriptor);
    case Consumption::kTimerSet: {
      std::array<epoll_event, 3> ready{};
      const int count = ::epoll_wait(waited.descriptor, ready.data(), static_cast<int>(ready.size()), 0);
      bool taken = false;
      for (int i = 0; i < count; ++i) {
        if (ReadCounter(ready[static_cast<std::size_t>(i)].data.fd)) taken = true;
      }
      return taken;
    }
  }
  return false;
}

int PollTimeout(bool infinite, Clock::time_point deadline) noexcept {
  if (infinite) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left <= 0 ? 0 : static_cast<int>(left);
}

constexpr short kReadyEvents = POLLIN | POLLHUP | POLLERR;

}  // namespace

std::uint32_t WaitForMany(const NativeHandle* handles, std::uint32_t count, bool waitAll,
                          std::uint32_t timeoutMs) noexcept {
  if (handles == nullptr || count == 0 || count > kMaximumWaitObjects) return kWaitFailed;
  std::array<Waited, kMaximumWaitObjects> waited{};
  std::array<pollfd, kMaximumWaitObjects> polled{};
  try {
    for (std::uint32_t i = 0; i < count; ++i) {
      if (handles[i] < 0) return kWaitFailed;
      waited[i] = {handles[i], Classify(handles[i])};
      polled[i] = {handles[i], POLLIN, 0};
    }
  } catch (...) {
    return kWaitFailed;
  }

  const bool infinite = timeoutMs == kInfinite;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    const int timeout = PollTimeout(infinite, deadline);
    const int result = ::poll(polled.data(), count, timeout);
    if (result < 0) {
      if (errno == EINTR) continue;
      return kWaitFailed;
    }
    std::uint32_t readyCount = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      if ((polled[i].revents & POLLNVAL) != 0) return kWaitFailed;
      if ((polled[i].revents & kReadyEvents) != 0) ++readyCount;
    }
    if (!waitAll) {
      // The lowest ready index wins; one whose signal another waiter took does not count.
      for (std::uint32_t i = 0; i < count; ++i) {
        if ((polled[i].revents & kReadyEvents) != 0 && Consume(waited[i])) return kWaitObject0 + i;
      }
    } else if (readyCount == count) {
      for (std::uint32_t i = 0; i < count; ++i) (void)Consume(waited[i]);
      return kWaitObject0;
    } else if (readyCount > 0) {
      // Some are ready and the rest are not: poll would return at once, so pause briefly
      // before looking at all of them again.
      const int pause = infinite ? 1 : std::min(1, PollTimeout(false, deadline));
      ::poll(nullptr, 0, pause);
    }
    if (!infinite && Clock::now() >= deadline) return kWaitTimeout;
  }
}

std::uint32_t WaitForOne(NativeHandle handle, std::uint32_t timeoutMs) noexcept {
  return WaitForMany(&handle, 1, false, timeoutMs);
}

}  // namespace VolmTime::Core::Platform
