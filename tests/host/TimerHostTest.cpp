// Timers on the clocks' time axis, armed, waited on and cancelled through the public
// interface only.
#include "LoadedLibrary.h"

#include "tests/support/HostEvent.h"

#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::uint64_t kUnitsPerMs = 10'000;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class TimerHostTest : public FactoryHostTest {
 protected:
  void SetUp() override {
    FactoryHostTest::SetUp();
    if (HasFatalFailure()) return;
    ASSERT_EQ(relative_->CreateTimer(timer_.Out()), VOLM_S_OK);
  }
  void TearDown() override {
    timer_.Reset();
    FactoryHostTest::TearDown();
  }

  std::int32_t Wait(std::uint32_t timeoutMs) {
    std::int32_t outcome = 99;
    EXPECT_EQ(timer_->Wait(timeoutMs, &outcome), VOLM_S_OK);
    return outcome;
  }

  Ref<IWaitableTimer> timer_;
};

TEST_F(TimerHostTest, RelativeTimerFiresAfterItsDuration) {
  const auto start = Clock::now();
  ASSERT_EQ(timer_->SetRelative(50 * kUnitsPerMs), VOLM_S_OK);
  EXPECT_EQ(Wait(VOLM_INFINITE), 0);
  const double elapsed = MillisecondsSince(start);
  EXPECT_GE(elapsed, 45.0);
  EXPECT_LT(elapsed, 3'000.0);
}

TEST_F(TimerHostTest, PeriodicTimerFiresRepeatedlyUntilCancelled) {
  const auto start = Clock::now();
  ASSERT_EQ(timer_->SetPeriodic(10 * kUnitsPerMs), VOLM_S_OK);
  for (int firing = 0; firing < 5; ++firing) ASSERT_EQ(Wait(2'000), 0) << firing;
  EXPECT_GE(MillisecondsSince(start), 40.0);
  ASSERT_EQ(timer_->Cancel(), VOLM_S_OK);
  // A firing signalled before the cancel stays signalled and, as the first handle, wins one
  // wait; after it the cancellation ends the next wait, and no firing comes any more.
  const std::int32_t first = Wait(2'000);
  if (first == 0) EXPECT_EQ(Wait(2'000), -1);
  else EXPECT_EQ(first, -1);
  // Nothing fires after the cancel: a wait runs to its timeout (a lower bound only).
  const auto quiet = Clock::now();
  EXPECT_EQ(Wait(100), 0);
  EXPECT_GE(MillisecondsSince(quiet), 80.0);
}

TEST_F(TimerHostTest, CancelFromAnotherThreadReleasesTheWaiter) {
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(timer_->Cancel(), VOLM_S_OK);
  });
  EXPECT_EQ(Wait(VOLM_INFINITE), -1);
  canceller.join();
}

TEST_F(TimerHostTest, AbsoluteTimerAtTheClocksCurrentTimeFiresAtOnce) {
  std::uint64_t now = 0;
  ASSERT_EQ(relative_->GetTime(&now), VOLM_S_OK);
  ASSERT_EQ(timer_->SetAbsolute(now), VOLM_S_OK);
  const auto start = Clock::now();
  EXPECT_EQ(Wait(5'000), 0);
  EXPECT_LT(MillisecondsSince(start), 1'000.0);
}

TEST_F(TimerHostTest, AbsoluteTimerOnTheSystemClockFiresWhenItsTimeComes) {
  Ref<IClock> system;
  ASSERT_EQ(factory_->GetSystemClock(system.Out()), VOLM_S_OK);
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(system->CreateTimer(timer.Out()), VOLM_S_OK);
  std::uint64_t now = 0;
  ASSERT_EQ(system->GetTime(&now), VOLM_S_OK);
  const auto start = Clock::now();
  ASSERT_EQ(timer->SetAbsolute(now + 40 * kUnitsPerMs), VOLM_S_OK);
  std::int32_t outcome = 99;
  ASSERT_EQ(timer->Wait(5'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, 0);
  EXPECT_GE(MillisecondsSince(start), 30.0);
}

TEST_F(TimerHostTest, TimerHandleWaitsTogetherWithTheHostsOwnEvent) {
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  VolmHandle timerHandle{};
  ASSERT_EQ(timer_->GetHandle(&timerHandle), VOLM_S_OK);
  HostEvent hostEvent;
  const VolmHandle handles[] = {hostEvent.Handle(), timerHandle};
  ASSERT_EQ(timer_->SetRelative(20 * kUnitsPerMs), VOLM_S_OK);
  std::uint32_t outcome = 0;
  ASSERT_EQ(waiter->Wait(handles, 2, false, 5'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  hostEvent.Signal();
  ASSERT_EQ(waiter->Wait(handles, 2, false, 5'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0);
  // The wait took the timer's firing: the timer's own wait times out.
  EXPECT_EQ(Wait(0), 0);
}

TEST_F(TimerHostTest, NullOutArgumentsAreRefused) {
  EXPECT_EQ(timer_->GetHandle(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(timer_->Wait(0, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(relative_->CreateTimer(nullptr), VOLM_S_OK);
}

TEST_F(TimerHostTest, CounterHandsOutWorkingTickTimers) {
  Ref<IHighResolutionCounter> counter;
  ASSERT_EQ(factory_->GetCounter(counter.Out()), VOLM_S_OK);
  Ref<IWaitableTickTimer> tickTimer;
  ASSERT_EQ(counter->CreateTickTimer(tickTimer.Out()), VOLM_S_OK);
  std::uint64_t frequency = 0;
  counter->GetFrequency(&frequency);
  ASSERT_EQ(tickTimer->SetRelative(frequency / 50), VOLM_S_OK);  // 20 ms
  std::int32_t outcome = 99;
  const auto start = Clock::now();
  ASSERT_EQ(tickTimer->Wait(5'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, 0);
  EXPECT_GE(MillisecondsSince(start), 15.0);
}

}  // namespace
