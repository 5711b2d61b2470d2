// The counter components: what they forward, what they report, whose last error changes.
#include "../core/CounterDoubles.h"

#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/HighResDriverCounterTimerWrapper.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "framework/CVolmError.h"
#include "framework/CVolmException.h"
#include "framework/LiveObjects.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using VolmTime::HighResDriverCounter;
using VolmTime::HighResDriverCounterTimerWrapper;
using VolmTime::LinearCorrectionFunction;

// A counter component whose forwarded operations fail without an error object.
class SilentFailingCounter : public CVolmUnknownImpl1<IHighResolutionCounter2> {
 public:
  VolmResult GetName(IVolmWideCharString**) override { return kCode; }
  VolmResult CreateTickTimer(IWaitableTickTimer**) override { return kCode; }
  VolmResult SleepTick(std::uint64_t) override { return kCode; }
  VolmResult GetFrequency(std::uint64_t*) override { return kCode; }
  VolmResult GetTick(std::uint64_t*) override { return kCode; }
  VolmResult IsAvailable(bool*) override { return kCode; }
  VolmResult HasTickTimer(bool*) override { return kCode; }
  VolmResult SpinTick(std::uint64_t) override { return kCode; }
  VolmResult GetCoreCounter(VolmTime::Core::IHighResolutionCounter** core) override {
    *core = nullptr;
    return VOLM_S_OK;
  }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    return VolmTime::QueryCounterInterface(this, id, object);
  }
  static constexpr VolmResult kCode = 0xA0BC1234u;
};

class CounterComponents : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

TEST_F(CounterComponents, BareCounterForwardsToItsCore) {
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
  VolmTime::Core::IHighResolutionCounter* reached = nullptr;
  EXPECT_EQ(counter->GetCoreCounter(&reached), VOLM_S_OK);
  EXPECT_EQ(reached, steered);
  CVolmPtr<IVolmWideCharString> name;
  EXPECT_EQ(counter->GetName(name.Put()), VOLM_S_OK);
  const VolmWideChar* buffer = nullptr;
  name->GetBuffer(&buffer);
  EXPECT_EQ(EncodeUtf8PerUnit(buffer), "steered counter");
}

TEST_F(CounterComponents, BareCounterMakesNoTickTimer) {
  CVolmPtr<HighResDriverCounter> counter(
      new HighResDriverCounter(std::make_unique<SteeredCounter>(1)));
  IWaitableTickTimer* timer = reinterpret_cast<IWaitableTickTimer*>(0x1);
  EXPECT_EQ(counter->CreateTickTimer(&timer), VOLM_S_FALSE);
  EXPECT_EQ(timer, reinterpret_cast<IWaitableTickTimer*>(0x1));
}

TEST_F(CounterComponents, CoreFailureBecomesEFailWithTheCoreMessageAndNoOutValue) {
  CVolmPtr<HighResDriverCounter> counter(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  std::uint64_t tick = 77;
  EXPECT_EQ(counter->GetTick(&tick), VOLM_E_FAIL);
  EXPECT_EQ(tick, 77u);
  EXPECT_EQ(LastErrorText(counter.Get()), FailingCounter::kMessage);
  EXPECT_EQ(counter->SpinTick(1), VOLM_E_FAIL);
  // A success afterwards leaves the error in place.
  std::uint64_t frequency = 0;
  EXPECT_EQ(counter->GetFrequency(&frequency), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(counter.Get()), FailingCounter::kMessage);
}

TEST_F(CounterComponents, WrapperPassesTimeCriticalFailuresOnWithoutCopyingThem) {
  CVolmPtr<HighResDriverCounter> inner(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  EXPECT_EQ(wrapper->SpinTick(1), VOLM_E_FAIL);
  std::uint64_t tick = 0;
  EXPECT_EQ(wrapper->GetTick(&tick), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  EXPECT_EQ(LastErrorText(inner.Get()), FailingCounter::kMessage);
}

TEST_F(CounterComponents, WrapperCopiesErrorsOfItsForwardedOperations) {
  CVolmPtr<HighResDriverCounter> inner(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  bool answer = true;
  EXPECT_EQ(wrapper->IsAvailable(&answer), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), FailingCounter::kMessage);
  // A forwarded success clears it.
  std::uint64_t frequency = 0;
  EXPECT_EQ(wrapper->GetFrequency(&frequency), VOLM_S_OK);
  EXPECT_EQ(frequency, 3'579'545u);
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
}

TEST_F(CounterComponents, WrapperComposesTextsNamingItsLines) {
  CVolmPtr<SilentFailingCounter> inner(new SilentFailingCounter);
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  bool answer = false;
  std::uint64_t value = 0;
  EXPECT_EQ(wrapper->GetName(nullptr), SilentFailingCounter::kCode);
  EXPECT_EQ(LastErrorText(wrapper.Get()),
            "Unknown error code. [HighResDriverCounterTimerWrapper, line 42]");
  EXPECT_EQ(wrapper->GetFrequency(&value), SilentFailingCounter::kCode);
  EXPECT_EQ(LastErrorText(wrapper.Get()),
            "Unknown error code. [HighResDriverCounterTimerWrapper, line 75]");
  EXPECT_EQ(wrapper->IsAvailable(&answer), SilentFailingCounter::kCode);
  EXPECT_EQ(LastErrorText(wrapper.Get()),
            "Unknown error code. [HighResDriverCounterTimerWrapper, line 92]");
  EXPECT_EQ(wrapper->HasTickTimer(&answer), SilentFailingCounter::kCode);
  EXPECT_EQ(LastErrorText(wrapper.Get()),
            "Unknown error code. [HighResDriverCounterTimerWrapper, line 102]");
}

TEST_F(CounterComponents, WrapperAndInnerShareOneCoreAndIdentityRules) {
  auto core = std::make_unique<SteeredCounter>(10'000'000);
  auto* steered = core.get();
  CVolmPtr<HighResDriverCounter> inner(new HighResDriverCounter(std::move(core)));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  VolmTime::Core::IHighResolutionCounter* viaWrapper = nullptr;
  wrapper->GetCoreCounter(&viaWrapper);
  EXPECT_EQ(viaWrapper, steered);
  bool hasTickTimer = true;
  EXPECT_EQ(wrapper->HasTickTimer(&hasTickTimer), VOLM_S_OK);
  EXPECT_FALSE(hasTickTimer);
  void* other = nullptr;
  EXPECT_EQ(wrapper->QueryInterface(VolmIds().clock, &other), VOLM_E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  // The wrapper makes tick timers even though the answer above is false.
  CVolmPtr<IWaitableTickTimer> timer;
  EXPECT_EQ(wrapper->CreateTickTimer(timer.Put()), VOLM_S_OK);
  EXPECT_TRUE(timer);
  EXPECT_EQ(wrapper->CreateTickTimer(nullptr), VOLM_S_OK);
}

TEST_F(CounterComponents, WrapperRefusesMissingPartsWithAReportableFailure) {
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounter> inner(
      new HighResDriverCounter(std::make_unique<SteeredCounter>(1)));
  const auto codeOfFailure = [](IHighResolutionCounter2* counter, ICorrectionFunction2* function) {
    try {
      HighResDriverCounterTimerWrapper wrapper(counter, function);
    } catch (const CVolmException& failure) {
      return failure.Code();
    }
    return VOLM_S_OK;
  };
  EXPECT_EQ(codeOfFailure(nullptr, correction.Get()), VOLM_E_POINTER);
  EXPECT_EQ(codeOfFailure(inner.Get(), nullptr), VOLM_E_POINTER);
  // The half-built wrapper gave back the reference it had taken.
  inner->AddRef();
  EXPECT_EQ(inner->Release(), 1u);
}

TEST_F(CounterComponents, NullOutPointersAreRefusedWithoutAnError) {
  CVolmPtr<HighResDriverCounter> counter(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  EXPECT_EQ(counter->GetTick(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(counter->GetFrequency(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(counter->IsAvailable(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(counter->HasTickTimer(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(counter->GetCoreCounter(nullptr), VOLM_E_POINTER);
  // The failing core was never asked.
  EXPECT_EQ(LastErrorText(counter.Get()), "<none>");
}

}  // namespace
