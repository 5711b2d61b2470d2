// SPDX-License-Identifier: MIT
#include "platform/Backend.h"

#include "platform/linux/SignalConsumption.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>

namespace VolmTime::Platform {

namespace {

using Clock = std::chrono::steady_clock;
using Linux::Consumption;

class Deadline {
 public:
  explicit Deadline(std::uint32_t timeoutMs)
      : infinite_(timeoutMs == kInfinite),
        end_(Clock::now() + std::chrono::milliseconds(timeoutMs)) {}

  [[nodiscard]] bool HasPassed() const { return !infinite_ && Clock::now() >= end_; }

  // What is left, as poll takes it: -1 for no limit, rounded up so that poll never returns
  // before the deadline, and limited to what an int holds (timeouts reach 49 days).
  [[nodiscard]] int PollTimeout() const {
    if (infinite_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
  }

 private:
  bool infinite_;
  Clock::time_point end_;
};

constexpr short kReadyEvents = POLLIN | POLLHUP | POLLERR;

// poll that resumes after a signal handler ran; false on any other failure.
bool Poll(pollfd* descriptors, std::uint32_t count, const Deadline& deadline) {
  for (;;) {
    if (::poll(descriptors, count, deadline.PollTimeout()) >= 0) return true;
    if (errno != EINTR) return false;
  }
}

bool IsReady(const pollfd& polled) { return (polled.revents & kReadyEvents) != 0; }
bool IsInvalid(const pollfd& polled) { return (polled.revents & POLLNVAL) != 0; }

struct WaitSet {
  std::array<pollfd, kMaximumWaitObjects> polled{};
  std::array<Consumption, kMaximumWaitObjects> consumption{};
  std::uint32_t count = 0;
};

// A wait for any one object polls what each handle is made of (see PollTargetsOf): a handle
// owns `count` descriptors from `first` on.
struct AnyWaitSet {
  struct Handle {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    Consumption consumption = Consumption::kNone;
  };
  std::array<pollfd, kMaximumWaitObjects * 3> polled{};
  std::array<Handle, kMaximumWaitObjects> handles{};
  std::uint32_t handleCount = 0;
  std::uint32_t polledCount = 0;
};

// Takes the signal of every descriptor of the handle that poll found ready; false when there
// was none to take.
bool TakeReady(AnyWaitSet& set, const AnyWaitSet::Handle& handle) {
  bool taken = false;
  for (std::uint32_t j = handle.first; j < handle.first + handle.count; ++j) {
    if (IsReady(set.polled[j]) && Linux::Consume(set.polled[j].fd, handle.consumption)) {
      taken = true;
    }
  }
  return taken;
}

std::uint32_t WaitForAny(AnyWaitSet& set, const Deadline& deadline) {
  for (;;) {
    if (!Poll(set.polled.data(), set.polledCount, deadline)) return kWaitFailed;
    for (std::uint32_t j = 0; j < set.polledCount; ++j) {
      if (IsInvalid(set.polled[j])) return kWaitFailed;
    }
    // The lowest ready index wins; one whose signal another waiter took first does not
    // count, and if that leaves none, the wait goes on for what is left of the timeout.
    for (std::uint32_t i = 0; i < set.handleCount; ++i) {
      if (TakeReady(set, set.handles[i])) return kWaitObject0 + i;
    }
    if (deadline.HasPassed()) return kWaitTimeout;
  }
}

std::uint32_t WaitForAll(WaitSet& set, const Deadline& deadline) {
  const Deadline now(0);
  for (;;) {
    if (!Poll(set.polled.data(), set.count, now)) return kWaitFailed;
    std::array<pollfd, kMaximumWaitObjects> notReady{};
    std::uint32_t notReadyCount = 0;
    for (std::uint32_t i = 0; i < set.count; ++i) {
      if (IsInvalid(set.polled[i])) return kWaitFailed;
      if (!IsReady(set.polled[i])) notReady[notReadyCount++] = {set.polled[i].fd, POLLIN, 0};
    }
    if (notReadyCount == 0) {
      // Win32 takes all the signals at one instant. Here another thread may take one between
      // the look above and the reads below; the wait still counts, as every object was
      // signalled at the instant of the look.
      for (std::uint32_t i = 0; i < set.count; ++i) {
        (void)Linux::Consume(set.polled[i].fd, set.consumption[i]);
      }
      return kWaitObject0;
    }
    if (deadline.HasPassed()) return kWaitTimeout;
    // Sleep until one that is not ready becomes ready; then all are looked at again, since
    // another thread may have taken the signal of one that was ready.
    if (!Poll(notReady.data(), notReadyCount, deadline)) return kWaitFailed;
  }
}

}  // namespace

std::uint32_t WaitForManyImpl(const NativeHandle* handles, std::uint32_t count, bool waitAll,
                              std::uint32_t timeoutMs) noexcept {
  const Deadline deadline(timeoutMs);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (handles[i] < 0) return kWaitFailed;
  }
  try {
    if (waitAll) {
      WaitSet set;
      set.count = count;
      for (std::uint32_t i = 0; i < count; ++i) {
        set.polled[i] = {handles[i], POLLIN, 0};
        set.consumption[i] = Linux::ConsumptionOf(handles[i]);
      }
      return WaitForAll(set, deadline);
    }
    AnyWaitSet set;
    set.handleCount = count;
    for (std::uint32_t i = 0; i < count; ++i) {
      const Linux::PollTargets targets = Linux::PollTargetsOf(handles[i]);
      set.handles[i] = {set.polledCount, targets.count, targets.consumption};
      for (std::uint32_t k = 0; k < targets.count; ++k) {
        set.polled[set.polledCount++] = {targets.descriptors[k], POLLIN, 0};
      }
    }
    return WaitForAny(set, deadline);
  } catch (...) {
    return kWaitFailed;
  }
}

}  // namespace VolmTime::Platform
