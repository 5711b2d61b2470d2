// Waitable timers, events and waits on several handles, with the outcomes of the Win32 wait
// functions on both platforms.
#include "VolmTime/Core/Platform/Event.h"
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/SystemTime.h"
#include "VolmTime/Core/Platform/Timer.h"
#include "VolmTime/Core/Platform/Wait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Core::Platform;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t kUnitsPerMs = 10'000;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

TEST(Timer, RelativeTimerFiresAfterItsDueTimeAndNotBefore) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -50 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 20), kWaitTimeout);
  EXPECT_EQ(WaitForOne(timer.Get(), 5'000), kWaitObject0);
  const double elapsed = MillisecondsSince(start);
  EXPECT_GE(elapsed, 45.0);
  EXPECT_LT(elapsed, 3'000.0);
}

TEST(Timer, AbsoluteTimerOnSystemTimeFires) {
  UniqueHandle timer = CreateWaitableTimer(false);
  const auto start = Clock::now();
  const std::uint64_t due = PreciseSystemTime() + 40 * kUnitsPerMs;
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), static_cast<std::int64_t>(due), 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 30.0);
  EXPECT_GE(PreciseSystemTime() + 2 * kUnitsPerMs, due);
}

TEST(Timer, DueTimeZeroAndTimesInThePastFireAtOnce) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), static_cast<std::int64_t>(PreciseSystemTime()) - kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 1, 0));  // 1601
  EXPECT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0);
}

TEST(Timer, PeriodicTimerRepeatsUntilCancelled) {
  UniqueHandle timer = CreateWaitableTimer(false);
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 10));
  for (int firing = 0; firing < 5; ++firing) {
    ASSERT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0) << "firing " << firing;
  }
  EXPECT_GE(MillisecondsSince(start), 40.0);
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  // A firing that was pending at the cancel may still be taken; after it, nothing comes.
  (void)WaitForOne(timer.Get(), 0);
  EXPECT_EQ(WaitForOne(timer.Get(), 60), kWaitTimeout);
}

TEST(Timer, AutoResetTimerIsConsumedByOneWaitManualResetStaysSignalled) {
  UniqueHandle automatic = CreateWaitableTimer(false);
  UniqueHandle manual = CreateWaitableTimer(true);
  ASSERT_TRUE(ArmWaitableTimer(automatic.Get(), 0, 0));
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), 0, 0));
  EXPECT_EQ(WaitForOne(automatic.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(automatic.Get(), 0), kWaitTimeout);
  EXPECT_EQ(WaitForOne(manual.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitObject0);
  // Arming again resets the signalled state.
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), -10'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitTimeout);
}

TEST(Timer, CancelKeepsAFiringThatAlreadyHappened) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitTimeout);
}

TEST(Timer, NegativePeriodIsRefused) {
  UniqueHandle timer = CreateWaitableTimer(false);
  EXPECT_FALSE(ArmWaitableTimer(timer.Get(), -kUnitsPerMs, -1));
}

TEST(Timer, CreationCanBeMadeToFail) {
  Faults().failTimerCreations = 1;
  EXPECT_FALSE(CreateWaitableTimer(false));
  EXPECT_TRUE(CreateWaitableTimer(false));
  Faults().failEventCreations = 1;
  EXPECT_FALSE(CreateAutoResetEvent());
  EXPECT_TRUE(CreateAutoResetEvent());
}

TEST(Event, SetFromAnotherThreadWakesTheWaiter) {
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

TEST(Event, ResetClearsAPendingSignal) {
  UniqueHandle event = CreateAutoResetEvent();
  ASSERT_TRUE(SetEvent(event.Get()));
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

TEST(Wait, ReportsTheLowestSignalledIndex) {
  UniqueHandle first = CreateAutoResetEvent();
  UniqueHandle second = CreateAutoResetEvent();
  UniqueHandle third = CreateAutoResetEvent();
  const NativeHandle handles[] = {first.Get(), second.Get(), third.Get()};
  ASSERT_TRUE(SetEvent(third.Get()));
  ASSERT_TRUE(SetEvent(second.Get()));
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitObject0 + 2);
  EXPECT_EQ(WaitForMany(handles, 3, false, 0), kWaitTimeout);
}

TEST(Wait, WaitAllNeedsEveryHandle) {
  UniqueHandle first = CreateAutoResetEvent();
  UniqueHandle second = CreateAutoResetEvent();
  const NativeHandle handles[] = {first.Get(), second.Get()};
  ASSERT_TRUE(SetEvent(first.Get()));
  EXPECT_EQ(WaitForMany(handles, 2, true, 0), kWaitTimeout);
  EXPECT_EQ(WaitForMany(handles, 2, true, 30), kWaitTimeout);
  ASSERT_TRUE(SetEvent(second.Get()));
  EXPECT_EQ(WaitForMany(handles, 2, true, 1'000), kWaitObject0);
  // Both signals were taken.
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
}

TEST(Wait, TimerAndEventTogether) {
  UniqueHandle timer = CreateWaitableTimer(false);
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {timer.Get(), event.Get()};
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -20 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForMany(handles, 2, false, 5'000), kWaitObject0);
  std::thread setter([&] { EXPECT_TRUE(SetEvent(event.Get())); });
  EXPECT_EQ(WaitForMany(handles, 2, false, 5'000), kWaitObject0 + 1);
  setter.join();
}

TEST(Wait, BadArgumentsFail) {
  UniqueHandle event = CreateAutoResetEvent();
  std::vector<NativeHandle> many(kMaximumWaitObjects + 1, event.Get());
  EXPECT_EQ(WaitForMany(many.data(), kMaximumWaitObjects + 1, false, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(many.data(), 0, false, 0), kWaitFailed);
  EXPECT_EQ(WaitForMany(nullptr, 1, false, 0), kWaitFailed);
}

TEST(Wait, ClosedHandleFails) {
  NativeHandle stale = kNoHandle;
  {
    UniqueHandle event = CreateAutoResetEvent();
    stale = event.Get();
  }
  EXPECT_EQ(WaitForOne(stale, 0), kWaitFailed);
  EXPECT_EQ(WaitForOne(kNoHandle, 0), kWaitFailed);
}

}  // namespace
