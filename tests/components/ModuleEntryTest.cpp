// SPDX-License-Identifier: MIT
// The factory slot behind CreateInstance: one factory at a time, never a dying one, and
// nothing left behind when building one fails.
#include "VolmTime/Module/ModuleEntry.h"
#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/VolmTimeFactory.h"
#include "platform/FaultInjection.h"
#include "tests/support/Helpers.h"

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
  EXPECT_EQ(FailureOf([&] { CreateFactoryInstance(VolmIds().timeFactoryClass, &object); }),
            "VolmTime::Core::WindowsCounter::WindowsCounter failed. Reason: calling QPC failed.");
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1));
  EXPECT_EQ(GetLiveObjectCount(), live);
  EXPECT_EQ(VolmTime::FactorySlot(), nullptr);
  bool lockFree = false;
  std::thread other(
      [&] { lockFree = std::unique_lock(VolmTime::ModuleLock(), std::try_to_lock).owns_lock(); });
  other.join();
  EXPECT_TRUE(lockFree);
}

TEST(ModuleEntry, DyingFactoryIsReplacedNotHandedOut) {
  IVolmTimeFactory* first = Factory();
  auto* concrete = static_cast<VolmTime::VolmTimeFactory*>(first);
  EXPECT_FALSE(concrete->IsDying());  // fresh and unreferenced: alive, handed out again
  EXPECT_EQ(Factory(), first);
  first->AddRef();
  {
    // Holding the module lock keeps the factory's destructor waiting while its count is 0.
    std::unique_lock lock(VolmTime::ModuleLock());
    std::thread releaser([&] { first->Release(); });
    while (!concrete->IsDying()) std::this_thread::yield();
    auto* second = Factory();  // same thread, recursive lock
    EXPECT_NE(second, first);
    lock.unlock();
    releaser.join();
    EXPECT_EQ(VolmTime::FactorySlot(), static_cast<VolmTime::VolmTimeFactory*>(second));
    second->AddRef();
    second->Release();
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
