// The synchronized clock over steerable counters and correction functions.
#include "../core/CounterDoubles.h"

#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/WindowsCounter.h"
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/SynchronizedClock.h"
#include "framework/CVolmError.h"
#include "framework/LiveObjects.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using VolmTime::HighResDriverCounter;
using VolmTime::LinearCorrectionFunction;
using VolmTime::PiecewiseLinearCorrectionFunctionLocal;
using VolmTime::SynchronizedClock;

VolmResult LastErrorCode(IGetVolmError* source) {
  CVolmPtr<IVolmError> error;
  source->GetError(error.Put());
  return error ? error->GetCode() : VOLM_S_OK;
}

// A correction function whose failures the test chooses: a code of its own, with or without
// an error object behind it.
class ScriptedCorrection : public CVolmUnknownImpl1<ICorrectionFunction2> {
 public:
  VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) override {
    if (tickToTimeFailure) return Fail(*tickToTimeFailure);
    *time = tick;
    return VOLM_S_OK;
  }
  VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) override {
    *tick = time;
    return VOLM_S_OK;
  }
  VolmResult GetRate(double* rate) override {
    if (rateFailure) return Fail(*rateFailure);
    *rate = 1.0;
    return VOLM_S_OK;
  }
  VolmResult GetCoreFunction(VolmTime::Core::CorrectionFunction64** core) override {
    *core = nullptr;
    return VOLM_S_OK;
  }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    if (id == VolmIds().correctionFunction) return HandOutInterface(PrimaryUnknown(), object);
    return NoInterface(object);
  }

  std::optional<VolmResult> tickToTimeFailure;
  std::optional<VolmResult> rateFailure;
  bool withErrorObject = true;

 private:
  VolmResult Fail(VolmResult code) {
    if (!withErrorObject) return code;
    return SetError(new CVolmError(code, VOLM_TEXT("no segment covers this tick")));
  }
};

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

  std::uint32_t liveBefore_ = GetLiveObjectCount();
  SteeredCounter* steered_;
  CVolmPtr<HighResDriverCounter> counter_;
};

TEST_F(ClockTest, TimeIsTheCorrectionOfTheCurrentTick) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(1'000, 2.0, 500));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  steered_->tick = 1'100;
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(time, 700u);
  bool valid = false;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_TRUE(valid);
  EXPECT_EQ(time, 700u);
}

TEST_F(ClockTest, UndefinedCorrectionReachesTheCallerWithItsText) {
  CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> correction(
      new PiecewiseLinearCorrectionFunctionLocal);
  // The correction function view, as the factory hands it to named clocks.
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(
      counter_.Get(), static_cast<ICorrectionFunction2*>(correction.Get()), false));
  steered_->tick = 50;
  std::uint64_t time = 99;
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(time, 99u);
  EXPECT_EQ(LastErrorText(clock.Get()), "Correction Function does not contain any segment.");
  correction->AddSample(100, 1.0, 1000);
  correction->Publish();
  bool valid = true;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_FALSE(valid);
  EXPECT_EQ(time, 0u);
  EXPECT_EQ(LastErrorText(clock.Get()), "Correction Function is not defined at this point.");
}

TEST_F(ClockTest, CorrectionFailureKeepsItsOwnCodeAndText) {
  CVolmPtr<ScriptedCorrection> correction(new ScriptedCorrection);
  correction->tickToTimeFailure = kOwnCode;
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  std::uint64_t time = 5;
  EXPECT_EQ(clock->GetTime(&time), kOwnCode);
  EXPECT_EQ(time, 5u);
  EXPECT_EQ(LastErrorCode(clock.Get()), kOwnCode);
  EXPECT_EQ(LastErrorText(clock.Get()), "no segment covers this tick");
  // A later success does not clear the copied error: it belongs to the failed reading.
  correction->tickToTimeFailure.reset();
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(LastErrorCode(clock.Get()), kOwnCode);
}

TEST_F(ClockTest, CorrectionFailureWithoutAnErrorObjectBecomesUndefinedError) {
  CVolmPtr<ScriptedCorrection> correction(new ScriptedCorrection);
  correction->tickToTimeFailure = kOwnCode;
  correction->withErrorObject = false;
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(clock.Get()), "Undefined Error");
  bool valid = true;
  time = 5;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_FALSE(valid);
  EXPECT_EQ(time, 0u);
}

TEST_F(ClockTest, SleepFailuresReturnTheInnerCodeAndLeaveTheClocksError) {
  CVolmPtr<ScriptedCorrection> correction(new ScriptedCorrection);
  correction->rateFailure = kOwnCode;
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  EXPECT_EQ(clock->SleepTime(50'000), kOwnCode);
  EXPECT_EQ(LastErrorText(clock.Get()), "<none>");
  EXPECT_TRUE(steered_->calls.empty());

  CVolmPtr<HighResDriverCounter> failing(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> linear(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> failingClock(
      new SynchronizedClock(failing.Get(), linear.Get(), false));
  EXPECT_EQ(failingClock->SleepTime(50'000), VOLM_E_FAIL);
  EXPECT_EQ(failingClock->SleepTime(5), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(failingClock.Get()), "<none>");
  EXPECT_EQ(LastErrorText(failing.Get()), FailingCounter::kMessage);
}

TEST_F(ClockTest, CounterFailureReturnsItsCodeAndLeavesTheClocksError) {
  CVolmPtr<HighResDriverCounter> failing(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(failing.Get(), correction.Get(), false));
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(clock.Get()), "<none>");
  EXPECT_EQ(LastErrorText(failing.Get()), FailingCounter::kMessage);
  bool valid = true;
  EXPECT_EQ(clock->TryGetTime(&valid, &time), VOLM_S_OK);
  EXPECT_FALSE(valid);
  EXPECT_EQ(clock->SleepTime(30'000), VOLM_E_FAIL);
}

TEST_F(ClockTest, ShortSleepsSpinAndLongerOnesSleepOnTheTimer) {
  CVolmPtr<LinearCorrectionFunction> correction(
      new LinearCorrectionFunction(0, 10'000'000.0 / 3'579'545.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  EXPECT_EQ(clock->SleepTime(20'000), VOLM_S_OK);
  EXPECT_EQ(clock->SleepTime(20'001), VOLM_S_OK);
  EXPECT_EQ(clock->SleepTime(2), VOLM_S_OK);  // less than one tick: truncates to 0
  EXPECT_EQ(steered_->calls, (std::vector<std::string>{"spin 7159", "sleep 7159", "spin 0"}));
}

TEST_F(ClockTest, DurationsWithoutATickCountAreRefusedBeforeTheCounterIsUsed) {
  for (const double rate : {0.0, 1e-300}) {
    CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, rate, 0));
    CVolmPtr<SynchronizedClock> clock(
        new SynchronizedClock(counter_.Get(), correction.Get(), false));
    EXPECT_EQ(clock->SleepTime(50'000), VOLM_E_FAIL);
    EXPECT_NE(LastErrorText(clock.Get()), "") << rate;
  }
  EXPECT_TRUE(steered_->calls.empty());
  // An infinite rate makes every duration last no tick.
  CVolmPtr<LinearCorrectionFunction> infinite(
      new LinearCorrectionFunction(0, std::numeric_limits<double>::infinity(), 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), infinite.Get(), false));
  EXPECT_EQ(clock->SleepTime(50'000), VOLM_S_OK);
  EXPECT_EQ(steered_->calls, (std::vector<std::string>{"sleep 0"}));
}

// On the real counter: both sides of the spin threshold and a sleep on the platform timer.
// Only the lower bound is exact; the upper one only guards against a hang.
TEST(ClockOnThePlatformCounter, SleepsNeverEndEarly) {
  const std::uint32_t liveBefore = GetLiveObjectCount();
  {
    auto core = std::make_unique<VolmTime::Core::WindowsCounter>();
    VolmTime::Core::WindowsCounter* platform = core.get();
    const double rate = 10'000'000.0 / static_cast<double>(platform->GetFrequency());
    CVolmPtr<HighResDriverCounter> counter(new HighResDriverCounter(std::move(core)));
    CVolmPtr<LinearCorrectionFunction> correction(
        new LinearCorrectionFunction(platform->GetTick(), rate, 0));
    CVolmPtr<SynchronizedClock> clock(
        new SynchronizedClock(counter.Get(), correction.Get(), false));
    for (const std::uint64_t duration :
         {std::uint64_t{20'000}, std::uint64_t{20'001}, std::uint64_t{300'000}}) {
      const std::uint64_t ticks =
          VolmTime::Core::TruncateToUint64(static_cast<double>(duration) / rate);
      const std::uint64_t before = platform->GetTick();
      ASSERT_EQ(clock->SleepTime(duration), VOLM_S_OK);
      const std::uint64_t elapsed = platform->GetTick() - before;
      EXPECT_GE(elapsed, ticks) << "duration " << duration;
      EXPECT_LT(elapsed, ticks + 10 * platform->GetFrequency()) << "duration " << duration;
    }
  }
  EXPECT_EQ(GetLiveObjectCount(), liveBefore);
}

TEST_F(ClockTest, SystemClockReadsTheSystemTimeNotTheCounter) {
  CVolmPtr<HighResDriverCounter> failing(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(failing.Get(), correction.Get(), true));
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_GT(time, 116'444'736'000'000'000u);
  bool isSystem = false;
  EXPECT_EQ(clock->IsSystemTime(&isSystem), VOLM_S_OK);
  EXPECT_TRUE(isSystem);
}

TEST_F(ClockTest, CorrectionFunctionIsHandedOutWithAReferenceEachTime) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  EXPECT_EQ(clock->GetCorrectionFunction(nullptr), VOLM_S_OK);
  CVolmPtr<ICorrectionFunction> first;
  CVolmPtr<ICorrectionFunction> second;
  clock->GetCorrectionFunction(first.Put());
  clock->GetCorrectionFunction(second.Put());
  EXPECT_EQ(first.Get(), second.Get());
  correction->AddRef();
  EXPECT_EQ(correction->Release(), 4u);  // ours, the clock's and the two handed out
}

TEST_F(ClockTest, CounterWithoutTickTimersMakesCreateTimerFailClearly) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  CVolmPtr<IWaitableTimer> timer;
  EXPECT_EQ(clock->CreateTimer(timer.Put()), VOLM_E_FAIL);
  EXPECT_FALSE(timer);
  EXPECT_NE(LastErrorText(clock.Get()).find("makes no tick timers"), std::string::npos);
}

TEST_F(ClockTest, NullOutParametersAreRefused) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<SynchronizedClock> clock(new SynchronizedClock(counter_.Get(), correction.Get(), false));
  bool valid = false;
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(clock->TryGetTime(nullptr, &time), VOLM_E_POINTER);
  EXPECT_EQ(clock->TryGetTime(&valid, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(clock->IsSystemTime(nullptr), VOLM_E_POINTER);
}

}  // namespace
