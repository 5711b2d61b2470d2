// The synchronized clock over the doubles: time from tick and function, whose error a
// failure leaves where, and how sleeps choose between spinning and the platform timer.
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/SynchronizedClock.h"
#include "framework/LiveObjects.h"

#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace VolmTime;
constexpr VolmResult kOwnCode = 0x8004AB01u;

class ClockTest : public ::testing::Test {
 protected:
  ClockTest() {
    auto core = std::make_unique<SteeredCounter>(3'579'545);
    steered_ = core.get();
    counter_ = new HighResDriverCounter(std::move(core));
  }
  void TearDown() override {
    counter_.Reset();
    EXPECT_EQ(GetLiveObjectCount(), liveBefore_);
  }
  CVolmPtr<SynchronizedClock> ClockOn(ICorrectionFunction* correction, bool system = false,
                                      IHighResolutionCounter2* counter = nullptr) {
    return CVolmPtr<SynchronizedClock>(
        new SynchronizedClock(counter ? counter : counter_.Get(), correction, system));
  }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
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
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_TRUE(valid);
  EXPECT_EQ(time, 700u);
}

TEST_F(ClockTest, FunctionFailuresBecomeTheClocksErrorWithTheirCodeAndText) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> empty(new PiecewiseLinearCorrectionFunctionLocal);
  // Through the correction function view, as the factory hands it to named clocks.
  auto fast = ClockOn(static_cast<ICorrectionFunction2*>(empty.Get()));
  std::uint64_t time = 99;
  EXPECT_EQ(fast->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(time, 99u);
  EXPECT_EQ(LastErrorText(fast.Get()), "Correction Function does not contain any segment.");

  CVolmPtr<ScriptedCorrection> scripted(new ScriptedCorrection);
  scripted->failure = kOwnCode;
  auto clock = ClockOn(scripted.Get());
  EXPECT_EQ(clock->GetTime(&time), kOwnCode);
  EXPECT_EQ(LastErrorText(clock.Get()), "no segment here");
  scripted->failure.reset();  // a later success keeps the failed reading's error
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(LastErrorCode(clock.Get()), kOwnCode);

  CVolmPtr<ScriptedCorrection> silent(new ScriptedCorrection);
  silent->failure = kOwnCode;
  silent->withErrorObject = false;
  clock = ClockOn(silent.Get());
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(clock.Get()), "Undefined Error");
  bool valid = true;
  time = 5;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_FALSE(valid);
  EXPECT_EQ(time, 0u);
}

TEST_F(ClockTest, CounterFailuresStayTheCountersError) {
  CVolmPtr<HighResDriverCounter> failing(new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  auto clock = ClockOn(correction.Get(), false, failing.Get());
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(clock->SleepTime(50'000), VOLM_E_FAIL);
  EXPECT_EQ(clock->SleepTime(5), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(clock.Get()), "<none>");
  EXPECT_EQ(LastErrorText(failing.Get()), FailingCounter::kMessage);
  // The system clock reads the system time, not the counter.
  auto system = ClockOn(correction.Get(), true, failing.Get());
  EXPECT_EQ(system->GetTime(&time), VOLM_S_OK);
  EXPECT_GT(time, 116'444'736'000'000'000u);
}

TEST_F(ClockTest, SleepsUpToTwoMillisecondsSpinAndLongerOnesSleep) {
  CVolmPtr<LinearCorrectionFunction> correction(
      new LinearCorrectionFunction(0, 10'000'000.0 / 3'579'545.0, 0));
  auto clock = ClockOn(correction.Get());
  EXPECT_EQ(clock->SleepTime(20'000), VOLM_S_OK);
  EXPECT_EQ(clock->SleepTime(20'001), VOLM_S_OK);
  EXPECT_EQ(clock->SleepTime(2), VOLM_S_OK);  // less than one tick
  EXPECT_EQ(steered_->calls, (std::vector<std::string>{"spin 7159", "sleep 7159", "spin 0"}));
}

TEST_F(ClockTest, SleepsWithoutATickCountAreRefusedBeforeTheCounterIsUsed) {
  CVolmPtr<ScriptedCorrection> failing(new ScriptedCorrection);
  failing->failure = kOwnCode;
  EXPECT_EQ(ClockOn(failing.Get())->SleepTime(50'000), kOwnCode);
  for (const double rate : {0.0, 1e-300}) {
    CVolmPtr<ScriptedCorrection> correction(new ScriptedCorrection(rate));
    auto clock = ClockOn(correction.Get());
    EXPECT_EQ(clock->SleepTime(50'000), VOLM_E_FAIL);
    EXPECT_NE(LastErrorText(clock.Get()), "<none>") << rate;
  }
  EXPECT_TRUE(steered_->calls.empty());
  CVolmPtr<ScriptedCorrection> infinite(new ScriptedCorrection(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(ClockOn(infinite.Get())->SleepTime(50'000), VOLM_S_OK);
  EXPECT_EQ(steered_->calls, (std::vector<std::string>{"sleep 0"}));
}

TEST_F(ClockTest, CounterWithoutTickTimersMakesCreateTimerFailClearly) {
  CVolmPtr<ScriptedCorrection> correction(new ScriptedCorrection);
  auto clock = ClockOn(correction.Get());
  CVolmPtr<IWaitableTimer> timer;
  EXPECT_EQ(clock->CreateTimer(timer.Put()), VOLM_E_FAIL);
  EXPECT_FALSE(timer);
  EXPECT_EQ(LastErrorText(clock.Get()),
            "The clock's counter makes no tick timers, so the clock cannot make a timer.");
}

}  // namespace
