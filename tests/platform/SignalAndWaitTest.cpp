// Auto-reset handles and waits on one or several of them, with the outcomes of the Win32
// wait functions. The signal rules are one typed suite, run against every kind of auto-reset
// handle the backend this is built with has: its events, its timers and a host's own event.
#include "VolmTime/Core/Platform/Event.h"
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/Timer.h"
#include "VolmTime/Core/Platform/Wait.h"

#include "tests/support/HostEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Core::Platform;
using Clock = std::chrono::steady_clock;
constexpr std::int64_t kUnitsPerMs = 10'000;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct LibraryEvent {
  UniqueHandle handle = CreateAutoResetEvent();
  NativeHandle Get() const { return handle.Get(); }
  void Signal() { ASSERT_TRUE(SetEvent(handle.Get())); }
};
struct AutoResetTimer {
  UniqueHandle handle = CreateWaitableTimer(false);
  NativeHandle Get() const { return handle.Get(); }
  void Signal() { ASSERT_TRUE(ArmWaitableTimer(handle.Get(), 0, 0)); }
};
struct ForeignEvent {
  HostEvent event;
  NativeHandle Get() const { return event.Handle(); }
  void Signal() { event.Signal(); }
};

template <typename Kind>
class AutoResetSignal : public ::testing::Test {
 protected:
  // Due time 0 fires at once, but the platform may report it a moment later.
  void SignalAndSettle(Kind& kind) {
    kind.Signal();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
};
using Kinds = ::testing::Types<LibraryEvent, AutoResetTimer, ForeignEvent>;
TYPED_TEST_SUITE(AutoResetSignal, Kinds);

TYPED_TEST(AutoResetSignal, OneWaitTakesTheSignalAndTwoSignalsAreOne) {
  TypeParam kind;
  EXPECT_EQ(WaitForOne(kind.Get(), 0), kWaitTimeout);
  kind.Signal();
  this->SignalAndSettle(kind);
  EXPECT_EQ(WaitForOne(kind.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(kind.Get(), 0), kWaitTimeout);
}

TYPED_TEST(AutoResetSignal, OneSignalReleasesExactlyOneOfTwoWaiters) {
  TypeParam kind;
  std::atomic<int> released{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    waiters.emplace_back([&] {
      if (WaitForOne(kind.Get(), 400) == kWaitObject0) ++released;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  kind.Signal();
  for (auto& waiter : waiters) waiter.join();
  EXPECT_EQ(released.load(), 1);
}

TYPED_TEST(AutoResetSignal, AmongOthersTheLowestReadyIndexIsReportedAndOnlyItsSignalTaken) {
  TypeParam first;
  TypeParam second;
  LibraryEvent event;
  const NativeHandle handles[] = {event.Get(), first.Get(), second.Get()};
  this->SignalAndSettle(second);
  first.Signal();
  this->SignalAndSettle(first);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitObject0 + 2);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitTimeout);
  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    second.Signal();
  });
  const auto start = Clock::now();
  EXPECT_EQ(WaitForMany(handles, 3, false, 10'000), kWaitObject0 + 2);
  EXPECT_GE(MillisecondsSince(start), 20.0);
  setter.join();
}

TEST(Event, ResetClearsAPendingSignalAndCreationCanBeMadeToFail) {
  LibraryEvent event;
  event.Signal();
  ASSERT_TRUE(ResetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
  Faults().failEventCreations = 1;
  EXPECT_FALSE(CreateAutoResetEvent());
  EXPECT_TRUE(CreateAutoResetEvent());
}

TEST(Wait, TimesOutAfterItsTimeoutAndNotBefore) {
  LibraryEvent event;
  const auto start = Clock::now();
  EXPECT_EQ(WaitForOne(event.Get(), 40), kWaitTimeout);
  EXPECT_GE(MillisecondsSince(start), 35.0);
}

TEST(Wait, BadHandleListsFail) {
  std::vector<LibraryEvent> events(kMaximumWaitObjects + 1);
  std::vector<NativeHandle> handles;
  for (const auto& event : events) handles.push_back(event.Get());
  events[kMaximumWaitObjects - 1].Signal();
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects, false, 0),
            kWaitObject0 + kMaximumWaitObjects - 1);
  events[0].Signal();
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects + 1, false, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(handles.data(), 0, false, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(nullptr, 1, false, 0), kWaitFailed);
  const NativeHandle withNone[] = {events[0].Get(), kNoHandle};
  EXPECT_EQ(WaitForMany(withNone, 2, true, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(withNone, 2, false, 0), kWaitFailed);
  NativeHandle stale = kNoHandle;
  {
    LibraryEvent closed;
    closed.Signal();
    stale = closed.Get();
  }
  EXPECT_EQ(WaitForOne(stale, 0), kWaitFailed);
  const NativeHandle withStale[] = {events[1].Get(), stale};
  EXPECT_EQ(WaitForMany(withStale, 2, false, 20), kWaitFailed);
}

TEST(Wait, WaitForAllNeedsEveryHandleAtOnceAndTakesEverySignal) {
  AutoResetTimer timer;
  LibraryEvent event;
  ForeignEvent host;
  const NativeHandle handles[] = {timer.Get(), event.Get(), host.Get()};
  event.Signal();
  EXPECT_EQ(WaitForMany(handles, 3, true, 30), kWaitTimeout);
  host.Signal();
  // A wait for all that timed out took nothing; it ends when the last one comes.
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForMany(handles, 3, true, 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 25.0);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitTimeout);
}

}  // namespace
