// Reference counting, interface queries and object identity.
#include "TestComponents.h"

#include "framework/CVolmError.h"
#include "framework/CVolmPtr.h"

#include <VolmTime/VolmIds.h>
#include <gtest/gtest.h>

namespace {

template <typename T, typename From>
T* Query(From* object, const VolmId& id) {
  void* out = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(object->QueryInterface(id, &out), VOLM_S_OK);
  return static_cast<T*>(out);
}

TEST(ObjectModel, NewObjectStartsAtZeroAndDiesOnLastRelease) {
  const std::uint32_t before = GetLiveObjectCount();
  auto* object = new TestSingle;
  EXPECT_EQ(GetLiveObjectCount(), before + 1);
  EXPECT_EQ(object->AddRef(), 1u);
  EXPECT_EQ(object->AddRef(), 2u);
  EXPECT_EQ(object->Release(), 1u);
  EXPECT_EQ(object->Release(), 0u);
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(ObjectModel, IdentityIsTheSameThroughEverySubObject) {
  CVolmPtr<TestSingle> object(new TestSingle);
  IVolmUnknown* viaPrimary = Query<IVolmUnknown>(object.Get(), VolmIds().volmUnknown);
  auto* errorView = Query<IGetVolmError>(object.Get(), VolmIds().getVolmError);
  EXPECT_NE(static_cast<void*>(errorView), static_cast<void*>(viaPrimary));
  IVolmUnknown* viaErrorView = Query<IVolmUnknown>(errorView, VolmIds().volmUnknown);
  EXPECT_EQ(viaPrimary, viaErrorView);
  EXPECT_EQ(viaPrimary, static_cast<IVolmUnknown*>(static_cast<ITestFirst*>(object.Get())));
  // Every query took a reference on the one shared count.
  EXPECT_EQ(RefCountOf(object.Get()), 4u);
  viaPrimary->Release();
  errorView->Release();
  viaErrorView->Release();
  EXPECT_EQ(RefCountOf(object.Get()), 1u);
}

TEST(ObjectModel, UnknownIdentifiersAreRefusedWithNull) {
  CVolmPtr<TestSingle> object(new TestSingle);
  for (const VolmId& id :
       {VolmIds().timeFactoryClass, VolmIds().clock, VolmIds().frameworkReserved1,
        VolmIds().frameworkReserved2, kTestSecondId}) {
    void* out = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(object->QueryInterface(id, &out), VOLM_E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(RefCountOf(object.Get()), 1u);
}

TEST(ObjectModel, NullOutParameterOfQueryInterfaceIsRefused) {
  CVolmPtr<TestSingle> object(new TestSingle);
  EXPECT_EQ(object->QueryInterface(kTestFirstId, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(RefCountOf(object.Get()), 1u);
}

TEST(ObjectModel, TwoInterfaceObjectSharesOneCountAndOneIdentity) {
  const std::uint32_t before = GetLiveObjectCount();
  {
    CVolmPtr<TestDouble> object(new TestDouble);
    auto* second = Query<ITestSecond>(object.Get(), kTestSecondId);
    EXPECT_EQ(second->Second(), VOLM_S_FALSE);
    auto* first = Query<ITestFirst>(second, kTestFirstId);
    EXPECT_EQ(static_cast<void*>(first),
              static_cast<void*>(static_cast<ITestFirst*>(object.Get())));
    IVolmUnknown* identityFromSecond = Query<IVolmUnknown>(second, VolmIds().volmUnknown);
    EXPECT_EQ(identityFromSecond, static_cast<IVolmUnknown*>(first));
    EXPECT_EQ(RefCountOf(object.Get()), 4u);
    EXPECT_EQ(second->Release(), 3u);
    EXPECT_EQ(first->Release(), 2u);
    EXPECT_EQ(identityFromSecond->Release(), 1u);
  }
  EXPECT_EQ(GetLiveObjectCount(), before);
}

TEST(ObjectModel, ParsedIdentifiersMatchThePublicHeader) {
  EXPECT_EQ(VolmIds().volmUnknown, IID_IVolmUnknown);
  EXPECT_EQ(VolmIds().getVolmError, IID_IGetVolmError);
  EXPECT_EQ(VolmIds().timeFactoryClass, CLSID_VolmTimeFactory);
  EXPECT_EQ(VolmIds().timeFactory, IID_IVolmTimeFactory);
  EXPECT_EQ(VolmIds().timeFactoryAdvanced, IID_IVolmTimeFactoryAdvanced);
  EXPECT_EQ(VolmIds().highResolutionCounter, IID_IHighResolutionCounter);
  EXPECT_EQ(VolmIds().correctionFunction, IID_ICorrectionFunction);
  EXPECT_EQ(VolmIds().piecewiseLinearCorrection, IID_IPiecewiseLinearCorrection);
  EXPECT_EQ(VolmIds().clock, IID_IClock);
  EXPECT_EQ(VolmIds().waitForEvents, IID_IWaitForEvents);
  EXPECT_EQ(VolmIds().waitableTickTimer, IID_IWaitableTickTimer);
  EXPECT_EQ(VolmIds().waitableTimer, IID_IWaitableTimer);
  EXPECT_EQ(VolmIds().volmError, IID_IVolmError);
  EXPECT_EQ(VolmIds().volmWideCharString, IID_IVolmWideCharString);
}

TEST(ObjectModel, IdentifierBytesFollowTheTextOrder) {
  const VolmId id = ParseVolmId("e91c1f8c-c294-4D2A-9551-dad72979ba3d");
  const std::uint8_t expected[16] = {0xE9, 0x1C, 0x1F, 0x8C, 0xC2, 0x94, 0x4D, 0x2A,
                                     0x95, 0x51, 0xDA, 0xD7, 0x29, 0x79, 0xBA, 0x3D};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(id.bytes[i], expected[i]) << "byte " << i;
  EXPECT_EQ(id, VolmIds().volmError);
  EXPECT_THROW(ParseVolmId("E91C1F8CC2944d2A9551DAD72979BA3D"), std::exception);
  EXPECT_THROW(ParseVolmId("E91C1F8C-C294-4d2A-9551-DAD72979BA3G"), std::exception);
}

TEST(VolmPointer, HoldsExactlyOneReference) {
  auto* object = new TestSingle;
  object->AddRef();
  {
    CVolmPtr<TestSingle> holder(object);
    EXPECT_EQ(RefCountOf(object), 2u);
    holder = object;  // the same pointer: nothing changes
    EXPECT_EQ(RefCountOf(object), 2u);
    CVolmPtr<TestSingle> copy = holder;
    EXPECT_EQ(RefCountOf(object), 3u);
    CVolmPtr<TestSingle> moved = std::move(copy);
    EXPECT_FALSE(copy);
    EXPECT_EQ(RefCountOf(object), 3u);
    moved.Reset();
    EXPECT_EQ(RefCountOf(object), 2u);
  }
  EXPECT_EQ(object->Release(), 0u);
}

TEST(VolmPointer, ReassignmentReleasesTheOldPointee) {
  const std::uint32_t before = GetLiveObjectCount();
  CVolmPtr<TestSingle> holder(new TestSingle);
  holder = new TestSingle;
  EXPECT_EQ(GetLiveObjectCount(), before + 1);
  holder = nullptr;
  EXPECT_EQ(GetLiveObjectCount(), before);
}

}  // namespace
