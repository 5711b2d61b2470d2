// SPDX-License-Identifier: MIT
// The synchronized clock over steered counters and chosen correction functions: its time, how
// failures of its parts reach the caller, and how it sleeps.
#include "VolmTime/Core/WindowsCounter.h"
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "VolmTime/SynchronizedClock.h"
#include "platform/FaultInjection.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

namespace {

using namespace VolmTime;

class ClockTest : public LeakChecked {
 protected:
  ClockTest() {
    auto core = std::make_unique<SteeredCounter>(3'579'545);
    steered_ = core.get();
    counter_ = new HighResDriverCounter(std::move(core));
  }
  CVolmPtr<SynchronizedClock> ClockOn(ICorrectionFunction* correction, bool system = false,
                                      IHighResolutionCounter2* counter = nullptr) {
    return CVolmPtr<SynchronizedClock>(
        new SynchronizedClock(counter ? counter : counter_.Get(), correction, system));
  }
  SteeredCounter* steered_;
  CVolmPtr<HighResDriverCounter> counter_;
};

TEST_F(ClockTest, TimeIsTheCorrectionOfTheCurrentTick) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(1'000, 2.0, 500));
  auto clock = ClockOn(correction.Get());
  steered_->tick = 1'100;
  std::uint64_t time = 0;
  bool valid = false;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(time, 700u);
  time = 0;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_TRUE(valid && time == 700u);
  // The correction function is handed out with a reference each time.
  CVolmPtr<ICorrectionFunction> handed;
  EXPECT_EQ(clock->GetCorrectionFunction(handed.Put()), VOLM_S_OK);
  EXPECT_EQ(handed.Get(), static_cast<ICorrectionFunction*>(correction.Get()));
  EXPECT_EQ(RefCountOf(correction.Get()), 3u);
}

TEST_F(ClockTest, CorrectionFailuresReachTheCallerWithTheirCodeAndText) {
  CVolmPtr<ScriptedCorrection> own(new ScriptedCorrection);
  own->failure = 0x8004AB01u;
  CVolmPtr<ScriptedCorrection> silent(new ScriptedCorrection);
  silent->failure = 0x8004AB01u;
  silent->withErrorObject = false;
  const std::tuple<ICorrectionFunction*, VolmResult, const char*> cases[] = {
      {own.Get(), 0x8004AB01u, "no segment here"}, {silent.Get(), VOLM_E_FAIL, "Undefined Error"}};
  for (const auto& [correction, code, text] : cases) {
    auto clock = ClockOn(correction);
    std::uint64_t time = 5;
    bool valid = true;
    EXPECT_EQ(clock->GetTime(&time), code) << text;
    EXPECT_EQ(time, 5u) << text;
    EXPECT_EQ(LastErrorText(clock.Get()), text);
    EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK) << text;
    EXPECT_FALSE(valid) << text;
    EXPECT_EQ(time, 0u) << text;
  }
  // A later success keeps the copied error: it belongs to the failed reading.
  auto clock = ClockOn(own.Get());
  std::uint64_t time = 0;
  clock->GetTime(&time);
  own->failure.reset();
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(clock.Get()), "no segment here");
}

TEST_F(ClockTest, CounterFailuresReturnTheirCodeAndLeaveTheErrorWithTheCounter) {
  CVolmPtr<HighResDriverCounter> platform(
      new HighResDriverCounter(std::make_unique<Core::WindowsCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  auto clock = ClockOn(correction.Get(), false, platform.Get());
  Platform::Faults().failTickReads = 1'000;  // until the reset below
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(clock->SleepTime(50'000), VOLM_E_FAIL);
  EXPECT_EQ(clock->SleepTime(5), VOLM_E_FAIL);
  Platform::Faults().failTickReads = 0;
  EXPECT_EQ(LastErrorText(clock.Get()), "<none>");
  EXPECT_NE(LastErrorText(platform.Get()), "<none>");
  // A rate that cannot be read stops a sleep before the counter is asked.
  CVolmPtr<ScriptedCorrection> noRate(new ScriptedCorrection);
  noRate->failure = 0x8004AB01u;
  EXPECT_EQ(ClockOn(noRate.Get())->SleepTime(50'000), 0x8004AB01u);
  EXPECT_TRUE(steered_->calls.empty());
  // The system clock reads the system time, not the counter.
  auto system = ClockOn(correction.Get(), true, platform.Get());
  EXPECT_EQ(system->GetTime(&time), VOLM_S_OK);
  EXPECT_GT(time, 116'444'736'000'000'000u);
}

// Which durations count as uncountable is the duration arithmetic's business; here only that
// a refusal reaches the caller.
TEST_F(ClockTest, ShortSleepsSpinLongerOnesSleepAndUncountableOnesAreRefused) {
  CVolmPtr<LinearCorrectionFunction> qpc(
      new LinearCorrectionFunction(0, 10'000'000.0 / 3'579'545.0, 0));
  auto clock = ClockOn(qpc.Get());
  EXPECT_EQ(clock->SleepTime(20'000), VOLM_S_OK);
  EXPECT_EQ(clock->SleepTime(20'001), VOLM_S_OK);
  CVolmPtr<LinearCorrectionFunction> flat(new LinearCorrectionFunction(0, 0.0, 0));
  EXPECT_EQ(ClockOn(flat.Get())->SleepTime(50'000), VOLM_E_FAIL);
  EXPECT_EQ(steered_->calls, (std::vector<std::string>{"spin 7159", "sleep 7159"}));
}

TEST_F(ClockTest, CounterWithoutTickTimersMakesCreateTimerFailClearly) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  auto clock = ClockOn(correction.Get());
  CVolmPtr<IWaitableTimer> timer;
  EXPECT_EQ(clock->CreateTimer(timer.Put()), VOLM_E_FAIL);
  EXPECT_FALSE(timer);
  EXPECT_NE(LastErrorText(clock.Get()).find("makes no tick timers"), std::string::npos);
}

}  // namespace
