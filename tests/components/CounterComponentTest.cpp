// The counter components: what they forward to the core, and whose last error a failure
// changes.
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/HighResDriverCounterTimerWrapper.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "framework/CVolmException.h"
#include "framework/LiveObjects.h"

#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <gtest/gtest.h>

namespace {

using namespace VolmTime;

class CounterComponents : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

TEST_F(CounterComponents, BareCounterForwardsToItsCoreAndMakesNoTickTimer) {
  auto core = std::make_unique<SteeredCounter>(3'579'545);
  SteeredCounter* steered = core.get();
  steered->tick = 4242;
  CVolmPtr<HighResDriverCounter> counter(new HighResDriverCounter(std::move(core)));
  std::uint64_t value = 0;
  EXPECT_EQ(counter->GetFrequency(&value), VOLM_S_OK);
  EXPECT_EQ(value, 3'579'545u);
  EXPECT_EQ(counter->GetTick(&value), VOLM_S_OK);
  EXPECT_EQ(value, 4242u);
  EXPECT_EQ(counter->SpinTick(7), VOLM_S_OK);
  EXPECT_EQ(counter->SleepTick(9), VOLM_S_OK);
  EXPECT_EQ(steered->calls, (std::vector<std::string>{"spin 7", "sleep 9"}));
  IWaitableTickTimer* timer = reinterpret_cast<IWaitableTickTimer*>(0x1);
  EXPECT_EQ(counter->CreateTickTimer(&timer), VOLM_S_FALSE);
  EXPECT_EQ(timer, reinterpret_cast<IWaitableTickTimer*>(0x1));
}

TEST_F(CounterComponents, CoreFailureBecomesEFailWithTheCoreMessageAndNoOutValue) {
  CVolmPtr<HighResDriverCounter> counter(new HighResDriverCounter(std::make_unique<FailingCounter>()));
  std::uint64_t tick = 77;
  EXPECT_EQ(counter->GetTick(&tick), VOLM_E_FAIL);
  EXPECT_EQ(tick, 77u);
  EXPECT_EQ(LastErrorText(counter.Get()), FailingCounter::kMessage);
}

TEST_F(CounterComponents, WrapperCopiesErrorsOfForwardedCallsButNotOfTimeCriticalOnes) {
  CVolmPtr<HighResDriverCounter> inner(new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  std::uint64_t tick = 0;
  EXPECT_EQ(wrapper->SpinTick(1), VOLM_E_FAIL);
  EXPECT_EQ(wrapper->GetTick(&tick), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  bool answer = true;
  EXPECT_EQ(wrapper->IsAvailable(&answer), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), FailingCounter::kMessage);
  EXPECT_EQ(wrapper->GetFrequency(&tick), VOLM_S_OK);  // a forwarded success clears it
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  // The wrapper makes tick timers although its counter makes none.
  CVolmPtr<IWaitableTickTimer> timer;
  EXPECT_EQ(wrapper->CreateTickTimer(timer.Put()), VOLM_S_OK);
  EXPECT_TRUE(timer);
}

TEST_F(CounterComponents, WrapperRefusesMissingPartsAndGivesBackWhatItTook) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounter> inner(new HighResDriverCounter(std::make_unique<SteeredCounter>(1)));
  const auto codeOf = [](IHighResolutionCounter2* counter, ICorrectionFunction2* function) {
    try {
      HighResDriverCounterTimerWrapper wrapper(counter, function);
    } catch (const CVolmException& failure) {
      return failure.Code();
    }
    return VOLM_S_OK;
  };
  EXPECT_EQ(codeOf(nullptr, correction.Get()), VOLM_E_POINTER);
  EXPECT_EQ(codeOf(inner.Get(), nullptr), VOLM_E_POINTER);
  inner->AddRef();
  EXPECT_EQ(inner->Release(), 1u);
}

}  // namespace
