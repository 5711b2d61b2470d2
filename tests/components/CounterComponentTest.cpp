// SPDX-License-Identifier: MIT
// The counter wrapper: whose last error changes, and the tick timers it makes.
#include "VolmTime/Core/WindowsCounter.h"
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/HighResDriverCounterTimerWrapper.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "framework/CVolmException.h"
#include "platform/FaultInjection.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

namespace {

using namespace VolmTime;

using CounterComponents = LeakChecked;

// The platform counter fails no call but these three (the fault injection makes them fail).
TEST_F(CounterComponents, WrapperLeavesFailuresOfTimeCriticalCallsWithTheInnerCounter) {
  CVolmPtr<HighResDriverCounter> inner(
      new HighResDriverCounter(std::make_unique<Core::WindowsCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  Platform::Faults().failTickReads = 1'000;  // until the reset below
  std::uint64_t value = 0;
  EXPECT_EQ(wrapper->SpinTick(1), VOLM_E_FAIL);
  EXPECT_EQ(wrapper->SleepTick(1), VOLM_E_FAIL);
  EXPECT_EQ(wrapper->GetTick(&value), VOLM_E_FAIL);
  Platform::Faults().failTickReads = 0;
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  EXPECT_NE(LastErrorText(inner.Get()), "<none>");
}

TEST_F(CounterComponents, WrapperMakesTickTimersOverTheSameCore) {
  auto core = std::make_unique<SteeredCounter>(10'000'000);
  auto* steered = core.get();
  CVolmPtr<HighResDriverCounter> inner(new HighResDriverCounter(std::move(core)));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  Core::IHighResolutionCounter* viaWrapper = nullptr;
  wrapper->GetCoreCounter(&viaWrapper);
  EXPECT_EQ(viaWrapper, steered);
  CVolmPtr<IWaitableTickTimer> timer;
  EXPECT_EQ(wrapper->CreateTickTimer(timer.Put()), VOLM_S_OK);
  EXPECT_TRUE(timer);
  // Missing parts are refused, and the half-built wrapper gives back what it took.
  const std::uint32_t held = RefCountOf(inner.Get());
  for (const auto& [counter, function] :
       {std::pair<IHighResolutionCounter2*, ICorrectionFunction2*>{nullptr, correction.Get()},
        std::pair<IHighResolutionCounter2*, ICorrectionFunction2*>{inner.Get(), nullptr}}) {
    try {
      HighResDriverCounterTimerWrapper refused(counter, function);
      ADD_FAILURE() << "a wrapper was made without all its parts";
    } catch (const CVolmException& failure) {
      EXPECT_EQ(failure.Code(), VOLM_E_POINTER);
    }
  }
  EXPECT_EQ(RefCountOf(inner.Get()), held);
}

}  // namespace
