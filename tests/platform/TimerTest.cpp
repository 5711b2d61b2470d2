// Waitable timers: relative, absolute and periodic arming, manual reset, re-arming while a
// thread waits, and cancelling. The auto-reset signal rules are in the typed suite.
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/Platform/SystemTime.h"
#include "VolmTime/Core/Platform/Timer.h"
#include "VolmTime/Core/Platform/Wait.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Core::Platform;
using Clock = std::chrono::steady_clock;
constexpr std::int64_t kUnitsPerMs = 10'000;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::int64_t SystemTimeIn(std::int64_t milliseconds) {
  return static_cast<std::int64_t>(PreciseSystemTime()) + milliseconds * kUnitsPerMs;
}

TEST(Timer, FiresAtItsDueTimeAndNotBefore) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  auto start = Clock::now();
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -50 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 20), kWaitTimeout);
  EXPECT_EQ(WaitForOne(timer.Get(), 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 45.0);
  start = Clock::now();
  const std::int64_t due = SystemTimeIn(40);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 5'000), kWaitObject0);
  EXPECT_GE(MillisecondsSince(start), 30.0);
  EXPECT_GE(SystemTimeIn(5), due);  // the clocks' granularities may differ by milliseconds
  for (const std::int64_t past : {std::int64_t{0}, SystemTimeIn(-1'000), std::int64_t{1}}) {
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), past, 0)) << past;
    EXPECT_EQ(WaitForOne(timer.Get(), 2'000), kWaitObject0) << past;
  }
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
  (void)WaitForOne(timer.Get(), 0);  // a firing just before the cancel stays signalled
  EXPECT_EQ(WaitForOne(timer.Get(), 60), kWaitTimeout);
  EXPECT_FALSE(ArmWaitableTimer(timer.Get(), -kUnitsPerMs, -1));
}

TEST(Timer, ManualResetStaysSignalledUntilArmedAgain) {
  UniqueHandle manual = CreateWaitableTimer(true);
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), 0, 0));
  EXPECT_EQ(WaitForOne(manual.Get(), 2'000), kWaitObject0);
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitObject0);
  ASSERT_TRUE(ArmWaitableTimer(manual.Get(), -10'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(manual.Get(), 0), kWaitTimeout);
}

TEST(Timer, ArmingReplacesAnEarlierOneAndReachesAThreadAlreadyWaiting) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), SystemTimeIn(30), 0));
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);
  for (const bool absolute : {true, false}) {
    std::atomic<std::uint32_t> outcome{0xDEADu};
    std::thread waiter([&] { outcome = WaitForOne(timer.Get(), 10'000); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), absolute ? SystemTimeIn(20) : -20 * kUnitsPerMs, 0));
    waiter.join();
    EXPECT_EQ(outcome.load(), kWaitObject0) << (absolute ? "absolute" : "relative");
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), SystemTimeIn(60'000), 0));
  }
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);
}

TEST(Timer, CancelStopsAPendingFiringAndKeepsOneThatHappened) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -30 * kUnitsPerMs, 0));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 150), kWaitTimeout);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), 0, 0));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
  Faults().failTimerCreations = 1;
  EXPECT_FALSE(CreateWaitableTimer(false));
  EXPECT_TRUE(CreateWaitableTimer(false));
}

}  // namespace
