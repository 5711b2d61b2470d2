// Auto-reset events and waits on one or several handles, with the outcomes of the Win32 wait
// functions on both platforms.
#include "platform/Event.h"
#include "platform/FaultInjection.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

#include "tests/support/HostEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Platform;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t kUnitsPerMs = 10'000;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::vector<UniqueHandle> MakeEvents(std::size_t count) {
  std::vector<UniqueHandle> events;
  for (std::size_t i = 0; i < count; ++i) events.push_back(CreateAutoResetEvent());
  return events;
}

std::vector<NativeHandle> HandlesOf(const std::vector<UniqueHandle>& owners) {
  std::vector<NativeHandle> handles;
  for (const UniqueHandle& owner : owners) handles.push_back(owner.Get());
  return handles;
}

TEST(Event, SetFromAnotherThreadWakesTheWaiterAndIsTakenByIt) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(event);
  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(SetEvent(event.Get()));
  });
  const auto start = Clock::now();
  EXPECT_EQ(WaitForOne(event.Get(), kInfinite), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 20.0);
  setter.join();
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
}

TEST(Event, TwoSetsBeforeAWaitAreOneSignal) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(SetEvent(event.Get()));
  ASSERT_TRUE(SetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
}

TEST(Event, ResetClearsAPendingSignal) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(SetEvent(event.Get()));
  ASSERT_TRUE(ResetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
  ASSERT_TRUE(ResetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
}

TEST(Event, OneSignalReleasesExactlyOneOfTwoWaiters) {
  UniqueHandle event = CreateAutoResetEvent();
  std::atomic<int> released{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 2; ++i) {
    waiters.emplace_back([&] {
      if (WaitForOne(event.Get(), 400) == kWaitObject0) ++released;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_TRUE(SetEvent(event.Get()));
  for (auto& waiter : waiters) waiter.join();
  EXPECT_EQ(released.load(), 1);
}

TEST(Event, CreationCanBeMadeToFail) {
  Faults().failEventCreations = 1;
  EXPECT_FALSE(CreateAutoResetEvent());
  EXPECT_TRUE(CreateAutoResetEvent());
}

TEST(Wait, ReportsTheLowestSignalledIndexAndTakesOnlyThatSignal) {
  const auto events = MakeEvents(3);
  const auto handles = HandlesOf(events);
  ASSERT_TRUE(SetEvent(handles[2]));
  ASSERT_TRUE(SetEvent(handles[1]));
  EXPECT_EQ(WaitForMany(handles.data(), 3, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles.data(), 3, false, 0), kWaitObject0 + 2);
  EXPECT_EQ(WaitForMany(handles.data(), 3, false, 0), kWaitTimeout);
}

TEST(Wait, TimesOutAfterItsTimeoutAndNotBefore) {
  UniqueHandle event = CreateAutoResetEvent();
  const auto start = Clock::now();
  EXPECT_EQ(WaitForOne(event.Get(), 40), kWaitTimeout);
  const double elapsed = MillisecondsSince(start);
  EXPECT_GE(elapsed, 35.0);
  EXPECT_LT(elapsed, 5'000.0);
}

TEST(Wait, TakesTheMostHandlesAllowedAndNoMore) {
  const auto events = MakeEvents(kMaximumWaitObjects + 1);
  const auto handles = HandlesOf(events);
  ASSERT_TRUE(SetEvent(handles[kMaximumWaitObjects - 1]));
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects, false, 0),
            kWaitObject0 + kMaximumWaitObjects - 1);
  ASSERT_TRUE(SetEvent(handles[0]));
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects + 1, false, 0), kWaitFailed);
}

TEST(Wait, BadArgumentsFail) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(SetEvent(event.Get()));
  const NativeHandle handle = event.Get();
  EXPECT_EQ(WaitForMany(&handle, 0, false, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(nullptr, 1, false, 0), kWaitFailed);
  const NativeHandle withNone[] = {event.Get(), kNoHandle};
  EXPECT_EQ(WaitForMany(withNone, 2, true, 0), kWaitFailed);
  EXPECT_EQ(WaitForOne(kNoHandle, 0), kWaitFailed);
}

TEST(Wait, ClosedHandleFails) {
  NativeHandle stale = kNoHandle;
  {
    UniqueHandle event = CreateAutoResetEvent();
    ASSERT_TRUE(SetEvent(event.Get()));
    stale = event.Get();
  }
  EXPECT_EQ(WaitForOne(stale, 0), kWaitFailed);
}

TEST(Wait, WaitForAllNeedsEveryHandleAtOnceAndTakesEverySignal) {
  UniqueHandle timer = CreateWaitableTimer(false);
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {timer.Get(), event.Get()};
  ASSERT_TRUE(SetEvent(event.Get()));
  EXPECT_EQ(WaitForMany(handles, 2, true, 0), kWaitTimeout);
  EXPECT_EQ(WaitForMany(handles, 2, true, 30), kWaitTimeout);
  // The event's signal is still there: a wait for all that timed out took nothing.
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForMany(handles, 2, true, 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 25.0);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
}

TEST(Wait, WaitForAllEndsWhenTheLastHandleIsSetFromAnotherThread) {
  const auto events = MakeEvents(3);
  const auto handles = HandlesOf(events);
  ASSERT_TRUE(SetEvent(handles[0]));
  ASSERT_TRUE(SetEvent(handles[2]));
  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(SetEvent(handles[1]));
  });
  EXPECT_EQ(WaitForMany(handles.data(), 3, true, 5'000), kWaitObject0);
  setter.join();
  EXPECT_EQ(WaitForMany(handles.data(), 3, false, 0), kWaitTimeout);
}

TEST(Wait, HostsOwnEventIsReportedAndItsSignalTaken) {
  HostEvent host;
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {event.Get(), host.Handle()};
  host.Signal();
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
}

TEST(Wait, TimerAndEventTogether) {
  UniqueHandle timer = CreateWaitableTimer(false);
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {timer.Get(), event.Get()};
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -20 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForMany(handles, 2, false, 5'000), kWaitObject0);
  std::thread setter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(SetEvent(event.Get()));
  });
  EXPECT_EQ(WaitForMany(handles, 2, false, 5'000), kWaitObject0 + 1);
  setter.join();
  // Both ready: the timer, at the lower index, is reported and the event keeps its signal.
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  ASSERT_TRUE(SetEvent(event.Get()));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
}

}  // namespace
