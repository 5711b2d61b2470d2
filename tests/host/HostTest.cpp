// The library's entry points as a host calls them, and one path through each interface from
// a host's side. What the objects do in detail is tested on the objects themselves.
#include "HostFixture.h"

#include "examples/HostEvent.h"

#include <chrono>
#include <thread>

namespace {

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

// How the clocks count is tested on the platform and the clock objects; here one reading and
// one sleep of each join, and a timer among the host's own events.
TEST_F(FactoryHostTest, ClocksSleepAndTheirTimersWakeTheHostAmongItsOwnEvents) {
  std::uint64_t start = 0;
  ASSERT_EQ(relative_->GetTime(&start), VOLM_S_OK);
  EXPECT_LT(start, 5'000 * kUnitsPerMs);  // the factory was made moments ago
  ASSERT_EQ(relative_->SleepTime(20 * kUnitsPerMs), VOLM_S_OK);
  std::uint64_t end = 0;
  ASSERT_EQ(relative_->GetTime(&end), VOLM_S_OK);
  EXPECT_GE(end - start, 20 * kUnitsPerMs);
  bool isSystem = false;
  EXPECT_EQ(system_->IsSystemTime(&isSystem), VOLM_S_OK);
  EXPECT_TRUE(isSystem);
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(system_->CreateTimer(timer.Out()), VOLM_S_OK);
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  HostEvent event;
  VolmHandle handles[2] = {event.Handle(), VolmHandle{}};
  ASSERT_EQ(timer->GetHandle(&handles[1]), VOLM_S_OK);
  std::uint64_t now = 0;
  ASSERT_EQ(system_->GetTime(&now), VOLM_S_OK);
  ASSERT_EQ(timer->SetAbsolute(now + 30 * kUnitsPerMs), VOLM_S_OK);
  std::uint32_t outcome = 0;
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  ASSERT_EQ(system_->GetTime(&end), VOLM_S_OK);
  EXPECT_GE(end + 5 * kUnitsPerMs, now + 30 * kUnitsPerMs);  // granularity may differ by some ms
  event.Signal();
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0);
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
