// The library's entry points as a host reaches them: one factory at a time, handed out
// without a reference, and CanDllUnload answering 1 only once every object is gone.
#include "LoadedLibrary.h"

#include <thread>

namespace {

TEST_F(HostTest, CreateInstanceHandsOutOneFactoryWithoutAReference) {
  void* object = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(createInstance_(IID_IVolmTimeFactory, &object), VOLM_CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(object, reinterpret_cast<void*>(0x1234));
  EXPECT_EQ(createInstance_(CLSID_VolmTimeFactory, nullptr), VOLM_E_POINTER);
  void* first = nullptr;
  void* second = nullptr;
  ASSERT_EQ(createInstance_(CLSID_VolmTimeFactory, &first), VOLM_S_OK);
  ASSERT_EQ(createInstance_(CLSID_VolmTimeFactory, &second), VOLM_S_OK);
  EXPECT_EQ(first, second);
  auto* factory = static_cast<IVolmTimeFactory*>(first);
  EXPECT_EQ(factory->AddRef(), 1u);
  EXPECT_EQ(canDllUnload_(), 0);
  Ref<IVolmUnknown> other;
  EXPECT_EQ(factory->QueryInterface(IID_IClock, other.OutVoid()), VOLM_E_NOINTERFACE);
  EXPECT_EQ(factory->Release(), 0u);
  EXPECT_EQ(canDllUnload_(), 1);
  attach_();  // attaching keeps nothing busy
  EXPECT_EQ(canDllUnload_(), 1);
  detach_();
}

TEST_F(HostTest, ObjectsOutliveTheFactoryAndANewFactoryHasANewTimeOrigin) {
  Ref<IClock> clock;
  {
    Ref<IVolmTimeFactory> factory;
    TakeFactory(factory);
    ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  std::uint64_t firstFactoryTime = 0;
  EXPECT_EQ(clock->GetTime(&firstFactoryTime), VOLM_S_OK);
  EXPECT_EQ(canDllUnload_(), 0);
  clock.Reset();
  EXPECT_EQ(canDllUnload_(), 1);
  Ref<IVolmTimeFactory> factory;
  TakeFactory(factory);
  ASSERT_EQ(factory->GetRelativeClock(clock.Out()), VOLM_S_OK);
  std::uint64_t secondFactoryTime = 0;
  ASSERT_EQ(clock->GetTime(&secondFactoryTime), VOLM_S_OK);
  EXPECT_GE(firstFactoryTime, 3'000'000u);
  EXPECT_LT(secondFactoryTime, firstFactoryTime);
  clock.Reset();
}

}  // namespace
