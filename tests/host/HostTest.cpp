// The library's entry points as a host calls them, and one path through each interface from
// a host's side. What the objects do in detail is tested on the objects themselves.
#include "HostFixture.h"

#include "tests/support/HostEvent.h"

#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::uint64_t kUnitsPerMs = 10'000;

// CreateInstance lends the one factory without a reference; whatever a host holds keeps
// the module busy, and a new factory starts a new time origin.
TEST_F(HostTest, EntryPointsLendOneFactoryAndTellWhenTheModuleIsIdle) {
  const auto createInstance = library_.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
  const auto attach = library_.Get<VolmAttachFunction>(kVolmAttachName);
  const auto detach = library_.Get<VolmDetachFunction>(kVolmDetachName);
  ASSERT_TRUE(createInstance && attach && detach);
  void* object = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(createInstance(IID_IVolmTimeFactory, &object), VOLM_CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1234));
  attach();
  EXPECT_EQ(canDllUnload_(), 1);
  detach();
  Ref<IClock> clock;
  std::uint64_t firstOrigin = 0;
  {
    void* first = nullptr;
    void* second = nullptr;
    ASSERT_EQ(createInstance(CLSID_VolmTimeFactory, &first), VOLM_S_OK);
    ASSERT_EQ(createInstance(CLSID_VolmTimeFactory, &second), VOLM_S_OK);
    EXPECT_EQ(first, second);
    auto* factory = static_cast<IVolmTimeFactory*>(first);
    EXPECT_EQ(factory->AddRef(), 1u);
    EXPECT_EQ(canDllUnload_(), 0);
    Ref<IVolmUnknown> identity;
    EXPECT_EQ(factory->QueryInterface(IID_IVolmUnknown, identity.OutVoid()), VOLM_S_OK);
    EXPECT_EQ(static_cast<void*>(identity.Get()), first);
    EXPECT_EQ(factory->QueryInterface(IID_IClock, identity.OutVoid()), VOLM_E_NOINTERFACE);
    ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(factory->Release(), 0u);
  }
  ASSERT_EQ(clock->GetTime(&firstOrigin), VOLM_S_OK);  // the clock outlives its factory
  EXPECT_EQ(canDllUnload_(), 0);
  clock.Reset();
  EXPECT_EQ(canDllUnload_(), 1);
  const HostTimeBase again(VOLM_LIBRARY_FILE);
  ASSERT_TRUE(again.IsReady()) << again.Error();
  ASSERT_EQ(again.Factory()->GetRelativeClock(clock.Out()), VOLM_S_OK);
  std::uint64_t secondOrigin = 0;
  ASSERT_EQ(clock->GetTime(&secondOrigin), VOLM_S_OK);
  EXPECT_GE(firstOrigin, 3'000'000u);
  EXPECT_LT(secondOrigin, firstOrigin);
  clock.Reset();
}

TEST_F(FactoryHostTest, ClocksCountTheCountersTicksAndTheSystemTime) {
  Ref<IHighResolutionCounter> counter;
  ASSERT_EQ(factory_->GetCounter(counter.Out()), VOLM_S_OK);
  std::uint64_t frequency = 0;
  ASSERT_EQ(counter->GetFrequency(&frequency), VOLM_S_OK);
  bool flag = false;
  EXPECT_EQ(factory_->IsCounterAvailable(&flag), VOLM_S_OK);
  EXPECT_TRUE(flag);
  Ref<ICorrectionFunction> correction;
  ASSERT_EQ(relative_->GetCorrectionFunction(correction.Out()), VOLM_S_OK);
  double rate = 0;
  ASSERT_EQ(correction->GetRate(&rate), VOLM_S_OK);
  EXPECT_DOUBLE_EQ(rate, 10'000'000.0 / static_cast<double>(frequency));
  std::uint64_t start = 0;
  ASSERT_EQ(relative_->GetTime(&start), VOLM_S_OK);
  EXPECT_LT(start, 5'000 * kUnitsPerMs);  // the factory was made moments ago
  const auto hostStart = Clock::now();
  ASSERT_EQ(relative_->SleepTime(200 * kUnitsPerMs), VOLM_S_OK);
  std::uint64_t end = 0;
  ASSERT_EQ(relative_->GetTime(&end), VOLM_S_OK);
  const double hostMs = std::chrono::duration<double, std::milli>(Clock::now() - hostStart).count();
  const double clockMs = static_cast<double>(end - start) / kUnitsPerMs;
  EXPECT_GE(clockMs, 200.0);
  EXPECT_NEAR(clockMs, hostMs, 0.05 * hostMs + 20.0);
  // The system clock agrees with the host's own reading (10 ms either side for granularity).
  const auto hostUnits = std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>(
      std::chrono::system_clock::now().time_since_epoch());
  std::uint64_t system = 0;
  ASSERT_EQ(system_->GetTime(&system), VOLM_S_OK);
  EXPECT_NEAR(static_cast<double>(system),
              static_cast<double>(hostUnits.count()) + 116'444'736'000'000'000.0, 100'000.0);
  EXPECT_EQ(system_->IsSystemTime(&flag), VOLM_S_OK);
  EXPECT_TRUE(flag);
}

TEST_F(FactoryHostTest, TimersAndWaitsWakeTheHostAmongItsOwnEvents) {
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(relative_->CreateTimer(timer.Out()), VOLM_S_OK);
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  HostEvent event;
  VolmHandle handles[2] = {event.Handle(), VolmHandle{}};
  ASSERT_EQ(timer->GetHandle(&handles[1]), VOLM_S_OK);
  const auto start = Clock::now();
  ASSERT_EQ(timer->SetRelative(30 * kUnitsPerMs), VOLM_S_OK);
  std::uint32_t outcome = 0;
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(25));
  std::thread signaller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    event.Signal();
  });
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  signaller.join();
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0);
  // An absolute time on the system clock's axis.
  ASSERT_EQ(system_->CreateTimer(timer.Out()), VOLM_S_OK);
  std::uint64_t now = 0;
  ASSERT_EQ(system_->GetTime(&now), VOLM_S_OK);
  const std::uint64_t due = now + 30 * kUnitsPerMs;
  ASSERT_EQ(timer->SetAbsolute(due), VOLM_S_OK);
  std::int32_t fired = 99;
  ASSERT_EQ(timer->Wait(10'000, &fired), VOLM_S_OK);
  EXPECT_EQ(fired, 0);
  ASSERT_EQ(system_->GetTime(&now), VOLM_S_OK);
  EXPECT_GE(now + 5 * kUnitsPerMs, due);  // the clocks' granularity may differ by some ms
}

TEST_F(FactoryHostTest, LocalFunctionsEvaluateWhatTheHostPublished) {
  Ref<IPiecewiseLinearCorrection> local;
  ASSERT_EQ(advanced_->CreateLocalCorrection(local.Out()), VOLM_S_OK);
  ASSERT_EQ(local->AddSample(100, 2.0, 1000), VOLM_S_OK);
  ASSERT_EQ(local->Publish(), VOLM_S_OK);
  std::uint64_t time = 0;
  ASSERT_EQ(local->TickToTime(150, &time), VOLM_S_OK);
  EXPECT_EQ(time, 1100u);
}

}  // namespace
