// The factory and its entry points, as a host reaches them.
#include "LoadedLibrary.h"

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST_F(HostTest, WrongClassIdentifierIsRefusedAndTheOutParameterUntouched) {
  void* object = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(createInstance_(IID_IVolmTimeFactory, &object), VOLM_CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1234));
  EXPECT_EQ(canDllUnload_(), 1);
}

TEST_F(HostTest, FactoryIsHandedOutWithoutAReference) {
  void* first = nullptr;
  void* second = nullptr;
  ASSERT_EQ(createInstance_(CLSID_VolmTimeFactory, &first), VOLM_S_OK);
  ASSERT_EQ(createInstance_(CLSID_VolmTimeFactory, &second), VOLM_S_OK);
  EXPECT_EQ(first, second);
  auto* factory = static_cast<IVolmTimeFactory*>(first);
  EXPECT_EQ(factory->AddRef(), 1u);
  EXPECT_EQ(canDllUnload_(), 0);
  EXPECT_EQ(factory->Release(), 0u);
  EXPECT_EQ(canDllUnload_(), 1);
}

TEST_F(HostTest, FactoryAnswersItsInterfacesAndNothingElse) {
  Ref<IVolmTimeFactory> factory;
  TakeFactory(factory);
  Ref<IVolmUnknown> identity;
  EXPECT_EQ(factory->QueryInterface(IID_IVolmUnknown, identity.OutVoid()), VOLM_S_OK);
  EXPECT_EQ(static_cast<void*>(identity.Get()), static_cast<void*>(factory.Get()));
  Ref<IVolmUnknown> other;
  EXPECT_EQ(factory->QueryInterface(CLSID_VolmTimeFactory, other.OutVoid()), VOLM_E_NOINTERFACE);
  EXPECT_EQ(factory->QueryInterface(IID_IClock, other.OutVoid()), VOLM_E_NOINTERFACE);
  EXPECT_FALSE(other);
}

TEST_F(HostTest, SharedObjectsAreTheSameForEveryCaller) {
  Ref<IVolmTimeFactory> factory;
  TakeFactory(factory);
  Ref<IClock> first;
  Ref<IClock> second;
  ASSERT_EQ(factory->GetRelativeClock(first.Out()), VOLM_S_OK);
  ASSERT_EQ(factory->GetRelativeClock(second.Out()), VOLM_S_OK);
  EXPECT_EQ(first.Get(), second.Get());
  Ref<IClock> system;
  ASSERT_EQ(factory->GetSystemClock(system.Out()), VOLM_S_OK);
  EXPECT_NE(system.Get(), first.Get());
  EXPECT_EQ(factory->GetCounter(nullptr), VOLM_S_OK);
  EXPECT_EQ(factory->GetRelativeClock(nullptr), VOLM_S_OK);
}

TEST_F(HostTest, CounterIsThePlatformCounter) {
  Ref<IVolmTimeFactory> factory;
  TakeFactory(factory);
  Ref<IHighResolutionCounter> counter;
  ASSERT_EQ(factory->GetCounter(counter.Out()), VOLM_S_OK);
  Ref<IVolmWideCharString> name;
  ASSERT_EQ(counter->GetName(name.Out()), VOLM_S_OK);
  EXPECT_EQ(TextOf(name.Get()), "QPC timer");
  std::uint64_t frequency = 0;
  ASSERT_EQ(counter->GetFrequency(&frequency), VOLM_S_OK);
  EXPECT_GE(frequency, 1'000'000u);
  bool available = false;
  EXPECT_EQ(factory->IsCounterAvailable(&available), VOLM_S_OK);
  EXPECT_TRUE(available);
  bool hasTickTimer = true;
  EXPECT_EQ(counter->HasTickTimer(&hasTickTimer), VOLM_S_OK);
  EXPECT_FALSE(hasTickTimer);
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  ASSERT_EQ(counter->GetTick(&first), VOLM_S_OK);
  ASSERT_EQ(counter->GetTick(&second), VOLM_S_OK);
  EXPECT_GE(second, first);
}

TEST_F(HostTest, ObjectsOutliveTheFactoryAndKeepTheModuleBusy) {
  Ref<IClock> clock;
  {
    Ref<IVolmTimeFactory> factory;
    TakeFactory(factory);
    ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
  }
  std::uint64_t time = 0;
  EXPECT_EQ(clock->GetTime(&time), VOLM_S_OK);
  EXPECT_EQ(canDllUnload_(), 0);
  clock.Reset();
  EXPECT_EQ(canDllUnload_(), 1);
}

TEST_F(HostTest, ANewFactoryHasANewTimeOrigin) {
  std::uint64_t firstFactoryTime = 0;
  {
    Ref<IVolmTimeFactory> factory;
    TakeFactory(factory);
    Ref<IClock> clock;
    ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ASSERT_EQ(clock->GetTime(&firstFactoryTime), VOLM_S_OK);
  }
  EXPECT_EQ(canDllUnload_(), 1);
  Ref<IVolmTimeFactory> factory;
  TakeFactory(factory);
  Ref<IClock> clock;
  ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
  std::uint64_t secondFactoryTime = 0;
  ASSERT_EQ(clock->GetTime(&secondFactoryTime), VOLM_S_OK);
  EXPECT_GE(firstFactoryTime, 3'000'000u);
  EXPECT_LT(secondFactoryTime, firstFactoryTime);
}

TEST_F(HostTest, AttachDoesNotKeepTheModuleBusy) {
  attach_();
  EXPECT_EQ(canDllUnload_(), 1);
  detach_();
  EXPECT_EQ(canDllUnload_(), 1);
}

TEST_F(HostTest, WhileAHostHoldsTheFactoryEveryThreadGetsTheSameOne) {
  constexpr int kThreads = 6;
  constexpr int kRounds = 300;
  std::atomic<int> mismatches{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        void* object = nullptr;
        if (createInstance_(CLSID_VolmTimeFactory, &object) != VOLM_S_OK) {
          ++failures;
          continue;
        }
        auto* factory = static_cast<IVolmTimeFactory*>(object);
        factory->AddRef();
        // Holding a reference, every further request must yield this same factory.
        void* again = nullptr;
        createInstance_(CLSID_VolmTimeFactory, &again);
        if (again != object) ++mismatches;
        IClock* clock = nullptr;
        std::uint64_t time = 0;
        if (factory->GetRelativeClock(&clock) != VOLM_S_OK || clock->GetTime(&time) != VOLM_S_OK) {
          ++failures;
        }
        if (clock != nullptr) clock->Release();
        factory->Release();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(canDllUnload_(), 1);
}

}  // namespace
