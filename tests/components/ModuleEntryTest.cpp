// The factory slot behind CreateInstance: one factory at a time, never a dying one, and
// nothing left behind when building one fails.
#include "VolmTime/Core/CException.h"
#include "platform/FaultInjection.h"
#include "VolmTime/Module/ModuleEntry.h"
#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/LiveObjects.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

namespace {

using VolmTime::CreateFactoryInstance;

IVolmTimeFactory* Factory() {
  void* object = nullptr;
  EXPECT_EQ(CreateFactoryInstance(VolmIds().timeFactoryClass, &object), VOLM_S_OK);
  return static_cast<IVolmTimeFactory*>(object);
}

TEST(ModuleEntry, FailedConstructionLeavesNoLockHeldAndNothingAlive) {
  const std::uint32_t live = GetLiveObjectCount();
  VolmTime::Platform::Faults().failFrequencyReads = 1;
  void* object = reinterpret_cast<void*>(0x1);
  try {
    CreateFactoryInstance(VolmIds().timeFactoryClass, &object);
    FAIL() << "the factory was built without a counter frequency";
  } catch (const VolmTime::Core::CException& failure) {
    EXPECT_STREQ(
        failure.what(),
        "VolmTime::Core::WindowsCounter::WindowsCounter failed. Reason: calling QPC failed.");
  }
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1));
  EXPECT_EQ(GetLiveObjectCount(), live);
  EXPECT_EQ(VolmTime::FactorySlot(), nullptr);
  bool lockFree = false;
  std::thread other([&] {
    std::unique_lock lock(VolmTime::ModuleLock(), std::try_to_lock);
    lockFree = lock.owns_lock();
  });
  other.join();
  EXPECT_TRUE(lockFree);
  // The next request builds a factory normally.
  IVolmTimeFactory* factory = Factory();
  factory->AddRef();
  EXPECT_EQ(factory->Release(), 0u);
  EXPECT_EQ(GetLiveObjectCount(), live);
}

TEST(ModuleEntry, DyingFactoryIsReplacedNotHandedOut) {
  IVolmTimeFactory* first = Factory();
  auto* concrete = static_cast<VolmTime::VolmTimeFactory*>(first);
  // Fresh and unreferenced: alive, handed out again.
  EXPECT_FALSE(concrete->IsDying());
  EXPECT_EQ(Factory(), first);
  first->AddRef();
  EXPECT_FALSE(concrete->IsDying());
  {
    // Hold the module lock so the factory's destructor waits while its count is 0.
    std::unique_lock lock(VolmTime::ModuleLock());
    std::thread releaser([&] { first->Release(); });
    while (!concrete->IsDying()) std::this_thread::yield();
    // Same thread, recursive lock: a request now must not get the dying factory.
    void* second = nullptr;
    ASSERT_EQ(CreateFactoryInstance(VolmIds().timeFactoryClass, &second), VOLM_S_OK);
    EXPECT_NE(second, static_cast<void*>(first));
    EXPECT_EQ(VolmTime::FactorySlot(),
              static_cast<VolmTime::VolmTimeFactory*>(static_cast<IVolmTimeFactory*>(second)));
    lock.unlock();
    releaser.join();
    // The dying factory left the new one in the slot.
    EXPECT_EQ(VolmTime::FactorySlot(),
              static_cast<VolmTime::VolmTimeFactory*>(static_cast<IVolmTimeFactory*>(second)));
    static_cast<IVolmTimeFactory*>(second)->AddRef();
    static_cast<IVolmTimeFactory*>(second)->Release();
  }
  EXPECT_EQ(VolmTime::FactorySlot(), nullptr);
}

TEST(ModuleEntry, WrongClassAndNullOutParameterAreRefused) {
  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(CreateFactoryInstance(VolmIds().timeFactory, &object), VOLM_CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1));
  EXPECT_EQ(CreateFactoryInstance(VolmIds().timeFactoryClass, nullptr), VOLM_E_POINTER);
}

}  // namespace
