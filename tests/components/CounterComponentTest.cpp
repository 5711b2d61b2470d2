// The counter components: what they forward, what they report, whose last error changes.
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/HighResDriverCounterTimerWrapper.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "framework/CVolmException.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

namespace {

using namespace VolmTime;

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
  VolmResult GetCoreCounter(Core::IHighResolutionCounter** core) override {
    *core = nullptr;
    return VOLM_S_OK;
  }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    return QueryCounterInterface(this, id, object);
  }
  static constexpr VolmResult kCode = 0xA0BC1234u;
};

using CounterComponents = LeakChecked;

TEST_F(CounterComponents, BareCounterForwardsToItsCoreAndReportsItsFailures) {
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
  Core::IHighResolutionCounter* reached = nullptr;
  EXPECT_EQ(counter->GetCoreCounter(&reached), VOLM_S_OK);
  EXPECT_EQ(reached, steered);
  IWaitableTickTimer* timer = nullptr;
  EXPECT_EQ(counter->CreateTickTimer(&timer), VOLM_S_FALSE);
  EXPECT_EQ(timer, nullptr);

  CVolmPtr<HighResDriverCounter> failing(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  std::uint64_t tick = 77;
  EXPECT_EQ(failing->GetTick(&tick), VOLM_E_FAIL);
  EXPECT_EQ(tick, 77u);
  EXPECT_EQ(LastErrorText(failing.Get()), FailingCounter::kMessage);
  EXPECT_EQ(failing->GetFrequency(&tick), VOLM_S_OK);  // a success leaves the error in place
  EXPECT_EQ(LastErrorText(failing.Get()), FailingCounter::kMessage);
}

TEST_F(CounterComponents, WrapperCopiesErrorsExceptOnTimeCriticalCalls) {
  CVolmPtr<HighResDriverCounter> inner(
      new HighResDriverCounter(std::make_unique<FailingCounter>()));
  CVolmPtr<LinearCorrectionFunction> correction(new LinearCorrectionFunction(0, 1.0, 0));
  CVolmPtr<HighResDriverCounterTimerWrapper> wrapper(
      new HighResDriverCounterTimerWrapper(inner.Get(), correction.Get()));
  std::uint64_t value = 0;
  EXPECT_EQ(wrapper->SpinTick(1), VOLM_E_FAIL);
  EXPECT_EQ(wrapper->GetTick(&value), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  bool answer = true;
  EXPECT_EQ(wrapper->IsAvailable(&answer), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(wrapper.Get()), FailingCounter::kMessage);
  EXPECT_EQ(wrapper->GetFrequency(&value), VOLM_S_OK);  // a forwarded success clears it
  EXPECT_EQ(value, 3'579'545u);
  EXPECT_EQ(LastErrorText(wrapper.Get()), "<none>");
  // Failures without an error object get a text naming the wrapper.
  CVolmPtr<SilentFailingCounter> silent(new SilentFailingCounter);
  CVolmPtr<HighResDriverCounterTimerWrapper> overSilent(
      new HighResDriverCounterTimerWrapper(silent.Get(), correction.Get()));
  EXPECT_EQ(overSilent->HasTickTimer(&answer), SilentFailingCounter::kCode);
  EXPECT_EQ(LastErrorText(overSilent.Get()).rfind(
                "Unknown error code. [HighResDriverCounterTimerWrapper, line ", 0),
            0u);
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
