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

// A host takes its own reference right after CreateInstance, so a factory must be kept alive
// by some reference while other threads obtain it: here the main thread holds one while the
// others create, reference, use and release it.
TEST_F(HostTest, WhileAHostHoldsTheFactoryEveryThreadGetsTheSameOne) {
  Ref<IVolmTimeFactory> anchor;
  TakeFactory(anchor);
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
        if (object != anchor.Get()) ++mismatches;
        auto* factory = static_cast<IVolmTimeFactory*>(object);
        factory->AddRef();
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
}

// Factories die and are rebuilt while other threads ask for one: every request gets a
// factory that works once referenced, never one already on its way out.
TEST_F(HostTest, FactoriesComeAndGoWhileOthersAsk) {
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::thread cycler([&] {
    for (int round = 0; round < 300; ++round) {
      Ref<IVolmTimeFactory> factory;
      TakeFactory(factory);
      Ref<IClock> clock;
      if (factory->GetSystemClock(clock.Out()) != VOLM_S_OK) ++failures;
    }
    stop = true;
  });
  std::vector<std::thread> askers;
  for (int t = 0; t < 3; ++t) {
    askers.emplace_back([&] {
      while (!stop) {
        // Only the pointer is compared: using it without holding a reference while another
        // thread may give back the last one is the host's mistake, not the library's.
        void* first = nullptr;
        void* second = nullptr;
        if (createInstance_(CLSID_VolmTimeFactory, &first) != VOLM_S_OK) ++failures;
        if (createInstance_(CLSID_VolmTimeFactory, &second) != VOLM_S_OK) ++failures;
      }
    });
  }
  cycler.join();
  for (auto& asker : askers) asker.join();
  EXPECT_EQ(failures.load(), 0);
  // Factories the askers caused to be built but never referenced are still in the slot;
  // referencing and releasing the current one ends it.
  Ref<IVolmTimeFactory> last;
  TakeFactory(last);
}

}  // namespace
