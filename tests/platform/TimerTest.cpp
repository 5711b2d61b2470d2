// Waitable timers: relative, absolute and periodic arming, manual and auto reset, re-arming
// while a thread waits, and cancelling.
#include "platform/FaultInjection.h"
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

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::int64_t SystemTimeIn(std::int64_t milliseconds) {
  return static_cast<std::int64_t>(PreciseSystemTime()) + milliseconds * kUnitsPerMs;
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
  EXPECT_LT(elapsed, 5'000.0);
}

TEST(Timer, AbsoluteTimerFiresWhenTheSystemTimeReachesItsDueTime) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  const auto start = Clock::now();
  const std::int64_t due = SystemTimeIn(40);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 30.0);
  // The system clock's and the timer's granularity may differ by a few milliseconds.
  EXPECT_GE(SystemTimeIn(5), due);
}

TEST(Timer, DueTimeZeroAndTimesInThePastFireAtOnce) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  for (const std::int64_t due : {std::int64_t{0}, SystemTimeIn(-1'000), std::int64_t{1}}) {
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0)) << due;
    EXPECT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0) << due;
  }
}

TEST(Timer, PeriodicTimerRepeatsUntilCancelled) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  const auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 10));
  for (int firing = 0; firing < 5; ++firing) {
    ASSERT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0) << "firing " << firing;
  }
  EXPECT_GE(MillisecondsSince(start), 40.0);
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  // A firing that came just before the cancel stays signalled; after it, nothing comes.
  (void)WaitForOne(timer.Get(), 0);
  EXPECT_EQ(WaitForOne(timer.Get(), 60), kWaitTimeout);
}

TEST(Timer, AutoResetIsTakenByOneWaitManualResetStaysSignalledUntilArmedAgain) {
  UniqueHandle automatic = CreateWaitableTimer(false);
  UniqueHandle manual = CreateWaitableTimer(true);
  ASSERT_TRUE(automatic);
  ASSERT_TRUE(manual);
  ASSERT_TRUE(ArmWaitableTimer(automatic.Get(), 0, 0));
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), 0, 0));
  EXPECT_EQ(WaitForOne(automatic.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(automatic.Get(), 0), kWaitTimeout);
  EXPECT_EQ(WaitForOne(manual.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), -10'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitTimeout);
}

// Counts how many of `waiters` threads a single firing of `timer` releases.
int ReleasedByOneFiring(NativeHandle timer, int waiters) {
  std::atomic<int> released{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < waiters; ++i) {
    threads.emplace_back([&] {
      if (WaitForOne(timer, 400) == kWaitObject0) ++released;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(ArmWaitableTimer(timer, 0, 0));
  for (auto& thread : threads) thread.join();
  return released.load();
}

TEST(Timer, OneFiringOfAnAutoResetTimerReleasesOneWaiterOfAManualResetOneAll) {
  UniqueHandle automatic = CreateWaitableTimer(false);
  UniqueHandle manual = CreateWaitableTimer(true);
  ASSERT_TRUE(automatic);
  ASSERT_TRUE(manual);
  EXPECT_EQ(ReleasedByOneFiring(automatic.Get(), 2), 1);
  EXPECT_EQ(ReleasedByOneFiring(manual.Get(), 2), 2);
}

TEST(Timer, ArmingFromAnotherThreadReachesAThreadAlreadyWaiting) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  // Armed far out on the relative clock, then moved close on the system clock, then close
  // on the relative clock again: the waiting thread sees each new arming.
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  for (const bool absolute : {true, false}) {
    std::atomic<std::uint32_t> outcome{0xDEADu};
    std::thread waiter([&] { outcome = WaitForOne(timer.Get(), 10'000); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const auto armed = Clock::now();
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), absolute ? SystemTimeIn(20) : -20 * kUnitsPerMs, 0));
    waiter.join();
    EXPECT_EQ(outcome.load(), kWaitObject0) << (absolute ? "absolute" : "relative");
    EXPECT_LT(MillisecondsSince(armed), 5'000.0);
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  }
}

TEST(Timer, ArmingReplacesAnEarlierArming) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), SystemTimeIn(30), 0));
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), SystemTimeIn(60'000), 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);
}

TEST(Timer, CancelStopsAPendingFiringAndKeepsOneThatHappened) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);

  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitTimeout);
}

TEST(Timer, NegativePeriodIsRefused) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  EXPECT_FALSE(ArmWaitableTimer(timer.Get(), -kUnitsPerMs, -1));
}

TEST(Timer, CreationCanBeMadeToFail) {
  Faults().failTimerCreations = 1;
  EXPECT_FALSE(CreateWaitableTimer(false));
  EXPECT_TRUE(CreateWaitableTimer(false));
}

}  // namespace
