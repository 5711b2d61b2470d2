// SPDX-License-Identifier: MIT
// The library's entry points as a host calls them, and one path through each interface from
// a host's side. What the objects do in detail is tested on the objects themselves.
#include "HostFixture.h"

#include "examples/HostEvent.h"

namespace {

constexpr std::uint64_t kUnitsPerMs = 10'000;

// CreateInstance lends the one factory without a reference (which class ids it refuses is the
// module's own test), and whatever a host holds keeps the module busy.
TEST_F(HostTest, EntryPointsLendOneFactoryAndTellWhenTheModuleIsIdle) {
  const auto createInstance = library_->Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
  const auto attach = library_->Get<VolmAttachFunction>(kVolmAttachName);
  const auto detach = library_->Get<VolmDetachFunction>(kVolmDetachName);
  ASSERT_TRUE(createInstance && attach && detach);
  attach();
  EXPECT_EQ(canDllUnload_(), 1);
  detach();
  void* object = nullptr;
  ASSERT_EQ(createInstance(CLSID_VolmTimeFactory, &object), VOLM_S_OK);
  auto* factory = static_cast<IVolmTimeFactory*>(object);
  EXPECT_EQ(factory->AddRef(), 1u);
  EXPECT_EQ(canDllUnload_(), 0);
  Ref<IClock> clock;
  ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
  EXPECT_EQ(factory->Release(), 0u);
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);  // the clock outlives its factory
  EXPECT_EQ(canDllUnload_(), 0);
  clock.Reset();
  EXPECT_EQ(canDllUnload_(), 1);
}

// How the clocks count is tested on the platform and the clock objects; here one reading and
// one sleep, and a timer among the host's own events.
TEST_F(FactoryHostTest, ClocksSleepAndTheirTimersWakeTheHostAmongItsOwnEvents) {
  std::uint64_t now = 0;
  ASSERT_EQ(relative_->GetTime(&now), VOLM_S_OK);
  EXPECT_LT(now, 5'000 * kUnitsPerMs);  // counted from the making of the factory, moments ago
  ASSERT_EQ(relative_->SleepTime(20 * kUnitsPerMs), VOLM_S_OK);
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(system_->CreateTimer(timer.Out()), VOLM_S_OK);
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  HostEvent event;
  VolmHandle handles[2] = {event.Handle(), VolmHandle{}};
  ASSERT_EQ(timer->GetHandle(&handles[1]), VOLM_S_OK);
  ASSERT_EQ(system_->GetTime(&now), VOLM_S_OK);
  ASSERT_EQ(timer->SetAbsolute(now + 30 * kUnitsPerMs), VOLM_S_OK);
  std::uint32_t outcome = 0;
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  event.Signal();
  ASSERT_EQ(waiter->Wait(handles, 2, false, 10'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0);
}

}  // namespace
