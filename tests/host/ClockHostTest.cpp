// Reading, sleeping and waiting through the clocks a host gets from the factory.
#include "LoadedLibrary.h"

#include "tests/support/HostEvent.h"

#include <thread>

namespace {

using ClockHostTest = FactoryHostTest;

constexpr std::uint64_t kUnitsPerMs = 10'000;

TEST_F(ClockHostTest, RelativeClockStartsNearZeroAndCountsHundredNanoseconds) {
  std::uint64_t start = 0;
  ASSERT_EQ(relative_->GetTime(&start), VOLM_S_OK);
  EXPECT_LT(start, 5'000 * kUnitsPerMs);  // the factory was made moments ago
  const auto hostStart = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  std::uint64_t end = 0;
  ASSERT_EQ(relative_->GetTime(&end), VOLM_S_OK);
  const auto hostElapsed = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - hostStart);
  const double clockMs = static_cast<double>(end - start) / kUnitsPerMs;
  const double hostMs = static_cast<double>(hostElapsed.count()) / 1000.0;
  EXPECT_GE(clockMs, 200.0);
  EXPECT_NEAR(clockMs, hostMs, 0.05 * hostMs + 20.0);
}

TEST_F(ClockHostTest, SystemClockAgreesWithTheHostsSystemTime) {
  const std::uint64_t before = HostSystemTime();
  std::uint64_t time = 0;
  ASSERT_EQ(system_->GetTime(&time), VOLM_S_OK);
  const std::uint64_t after = HostSystemTime();
  // The host's own clock may be coarser than the library's; allow 10 ms either side.
  EXPECT_GE(time + 10 * kUnitsPerMs, before);
  EXPECT_LE(time, after + 10 * kUnitsPerMs);
}

TEST_F(ClockHostTest, SystemFlagTellsTheClocksApart) {
  bool isSystem = true;
  ASSERT_EQ(relative_->IsSystemTime(&isSystem), VOLM_S_OK);
  EXPECT_FALSE(isSystem);
  ASSERT_EQ(system_->IsSystemTime(&isSystem), VOLM_S_OK);
  EXPECT_TRUE(isSystem);
}

TEST_F(ClockHostTest, TryGetTimeReportsAValidTime) {
  bool valid = false;
  std::uint64_t time = 0;
  ASSERT_EQ(system_->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_TRUE(valid);
  EXPECT_GT(time, 116'444'736'000'000'000u);  // after 1970
}

TEST_F(ClockHostTest, CorrectionFunctionIsSharedAndConvertsBothWays) {
  Ref<ICorrectionFunction> first;
  Ref<ICorrectionFunction> second;
  ASSERT_EQ(relative_->GetCorrectionFunction(first.Out()), VOLM_S_OK);
  ASSERT_EQ(relative_->GetCorrectionFunction(second.Out()), VOLM_S_OK);
  EXPECT_EQ(first.Get(), second.Get());
  EXPECT_EQ(relative_->GetCorrectionFunction(nullptr), VOLM_S_OK);
  double rate = 0;
  ASSERT_EQ(first->GetRate(&rate), VOLM_S_OK);
  Ref<IHighResolutionCounter> counter;
  factory_->GetCounter(counter.Out());
  std::uint64_t frequency = 0;
  counter->GetFrequency(&frequency);
  EXPECT_DOUBLE_EQ(rate, 10'000'000.0 / static_cast<double>(frequency));
  std::uint64_t tick = 0;
  counter->GetTick(&tick);
  std::uint64_t time = 0;
  ASSERT_EQ(first->TickToTime(tick, &time), VOLM_S_OK);
  std::uint64_t back = 0;
  ASSERT_EQ(first->TimeToTick(time, &back), VOLM_S_OK);
  // Both directions truncate, so the round trip may lose up to one time unit's ticks.
  EXPECT_LE(back, tick);
  EXPECT_LE(static_cast<double>(tick - back), 1.0 / rate + 1.0);
}

TEST_F(ClockHostTest, SleepTimeReturnsOnlyAfterTheDuration) {
  for (const std::uint64_t duration : {std::uint64_t{15'000}, 30 * kUnitsPerMs}) {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    ASSERT_EQ(relative_->GetTime(&start), VOLM_S_OK);
    ASSERT_EQ(relative_->SleepTime(duration), VOLM_S_OK);
    ASSERT_EQ(relative_->GetTime(&end), VOLM_S_OK);
    EXPECT_GE(end - start + 1, duration) << "duration " << duration;
    EXPECT_LT(end - start, duration + 2'000 * kUnitsPerMs);
  }
}

TEST_F(ClockHostTest, WaitForEventsWakesOnTheHostsOwnEvent) {
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  HostEvent idle;
  HostEvent signalled;
  std::thread signaller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    signalled.Signal();
  });
  const VolmHandle handles[] = {idle.Handle(), signalled.Handle()};
  std::uint32_t outcome = 0;
  EXPECT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  signaller.join();
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  // The auto-reset event was consumed by that wait.
  EXPECT_EQ(waiter->Wait(handles, 2, false, 0, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_TIMEOUT);
}

TEST_F(ClockHostTest, WaitForEventsReportsFailureAsAnOutcome) {
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  HostEvent event;
  const VolmHandle handles[] = {event.Handle()};
  std::uint32_t outcome = 0;
  EXPECT_EQ(waiter->Wait(handles, 0, false, 0, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_FAILED);
  EXPECT_EQ(LastErrorText(waiter.Get()), "<none>");
}

TEST_F(ClockHostTest, CreateWaitForEventsWithNullLeavesNothingAlive) {
  EXPECT_EQ(factory_->CreateWaitForEvents(nullptr), VOLM_S_OK);
  Ref<IWaitForEvents> first;
  Ref<IWaitForEvents> second;
  factory_->CreateWaitForEvents(first.Out());
  factory_->CreateWaitForEvents(second.Out());
  EXPECT_NE(first.Get(), second.Get());
}

}  // namespace
