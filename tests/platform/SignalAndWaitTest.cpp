// SPDX-License-Identifier: MIT
// Auto-reset events, waitable timers and waits on one or several handles, with the outcomes
// of the Win32 wait functions on both platforms.
#include "platform/Event.h"
#include "platform/SystemTime.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Platform;
using Clock = std::chrono::steady_clock;
constexpr std::int64_t kUnitsPerMs = 10'000;

// How long a wait for something already due may take: enough for any busy machine, and never
// spent while the platform works.
constexpr std::uint32_t kPatienceMs = 60'000;

std::int64_t SystemTimeIn(std::int64_t milliseconds) {
  return static_cast<std::int64_t>(PreciseSystemTime()) + milliseconds * kUnitsPerMs;
}
bool FireNow(NativeHandle timer) { return ArmWaitableTimer(timer, 0, 0); }

// Two threads wait on `handle`; one signal (made by `signal`) must release `expected` of
// them. A signal made before a thread waits stays until a wait takes it, so a late thread
// sees the same; a wrong extra release is given a moment to show, then the rest are let go.
void ExpectOneSignalReleases(NativeHandle handle, bool (*signal)(NativeHandle), int expected) {
  std::atomic<int> released{0};
  std::vector<std::jthread> waiters;
  for (int i = 0; i < 2; ++i)
    waiters.emplace_back([&] { released += WaitForOne(handle, kPatienceMs) == kWaitObject0; });
  EXPECT_TRUE(signal(handle));
  const auto deadline = Clock::now() + std::chrono::milliseconds(kPatienceMs);
  while (released.load() < expected && Clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(released.load(), expected);
  while (released.load() < 2 && Clock::now() < deadline) {
    EXPECT_TRUE(signal(handle));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

TEST(Event, IsOneSignalTakenByOneWaitUntilReset) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(SetEvent(event.Get()));
  ASSERT_TRUE(SetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
  ASSERT_TRUE(SetEvent(event.Get()));
  ASSERT_TRUE(ResetEvent(event.Get()));
  EXPECT_EQ(WaitForOne(event.Get(), 0), kWaitTimeout);
  ExpectOneSignalReleases(event.Get(), SetEvent, 1);
}

TEST(Wait, ReportsTheLowestSignalledIndexAndTakesOnlyThatSignal) {
  std::vector<UniqueHandle> events;
  std::vector<NativeHandle> handles;
  for (std::uint32_t i = 0; i < kMaximumWaitObjects; ++i) {
    events.push_back(CreateAutoResetEvent());
    handles.push_back(events.back().Get());
  }
  ASSERT_TRUE(SetEvent(handles[kMaximumWaitObjects - 1]));
  ASSERT_TRUE(SetEvent(handles[0]));
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects, false, 0), kWaitObject0);
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects, false, 0),
            kWaitObject0 + kMaximumWaitObjects - 1);
  EXPECT_EQ(WaitForMany(handles.data(), kMaximumWaitObjects, false, 0), kWaitTimeout);
  // Bad handle lists are the host suite's bad-input rows.
}

TEST(Wait, WaitForAllTakesEverySignalOrNone) {
  UniqueHandle timer = CreateWaitableTimer(false);
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {timer.Get(), event.Get()};
  ASSERT_TRUE(SetEvent(event.Get()));
  EXPECT_EQ(WaitForMany(handles, 2, true, 30), kWaitTimeout);  // took nothing
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForMany(handles, 2, true, kPatienceMs), kWaitObject0);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
}

TEST(Timer, FiresAtItsRelativeOrAbsoluteDueTimeAndNotBefore) {
  UniqueHandle timer = CreateWaitableTimer(false);
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -50 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), kPatienceMs), kWaitObject0);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(45));
  const std::int64_t due = SystemTimeIn(40);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), kPatienceMs), kWaitObject0);
  EXPECT_GE(SystemTimeIn(5), due);  // the clocks' granularity may differ by some ms
  for (const std::int64_t past : {std::int64_t{0}, SystemTimeIn(-1'000), std::int64_t{1}}) {
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), past, 0)) << past;
    EXPECT_EQ(WaitForOne(timer.Get(), kPatienceMs), kWaitObject0) << past;
  }
  EXPECT_FALSE(ArmWaitableTimer(timer.Get(), -kUnitsPerMs, -1));  // negative period
}

TEST(Timer, PeriodicTimerRepeatsUntilCancelledAndCancelKeepsAFiringThatHappened) {
  UniqueHandle timer = CreateWaitableTimer(false);
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 10));
  for (int firing = 0; firing < 5; ++firing)
    ASSERT_EQ(WaitForOne(timer.Get(), kPatienceMs), kWaitObject0) << "firing " << firing;
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(40));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  (void)WaitForOne(timer.Get(), 0);  // a firing just before the cancel stays signalled
  EXPECT_EQ(WaitForOne(timer.Get(), 60), kWaitTimeout);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitTimeout);
}

TEST(Timer, AutoResetReleasesOneWaiterManualResetAllUntilArmedAgain) {
  UniqueHandle automatic = CreateWaitableTimer(false);
  UniqueHandle manual = CreateWaitableTimer(true);
  ExpectOneSignalReleases(automatic.Get(), FireNow, 1);
  ExpectOneSignalReleases(manual.Get(), FireNow, 2);
  // A cancel keeps the firing; only arming again resets it. (Wine resets only manual-reset
  // timers when they are armed, so a manual-reset one shows it on both builds.)
  ASSERT_TRUE(CancelWaitableTimer(manual.Get()));
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), -10'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitTimeout);
}

// A new arming replaces the one before, also when it is on the other clock, and reaches a
// thread that already waits.
TEST(Timer, ArmingReplacesAnEarlierOneAndReachesAThreadAlreadyWaiting) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), SystemTimeIn(60'000), 0));
  std::atomic<std::uint32_t> outcome{0xDEADu};
  std::thread waiter([&] { outcome = WaitForOne(timer.Get(), kPatienceMs); });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_TRUE(ArmWaitableTimer(timer.Get(), -20 * kUnitsPerMs, 0));
  waiter.join();
  EXPECT_EQ(outcome.load(), kWaitObject0);
}

}  // namespace
