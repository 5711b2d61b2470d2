// The library as a host sees it: loaded at run time by file name, reached through the four
// entry points and the public headers only.
#ifndef TESTS_HOST_LOADEDLIBRARY_H
#define TESTS_HOST_LOADEDLIBRARY_H

#include <VolmTime/VolmTime.h>

#include "tools/common/DynamicLibrary.h"
#include "tools/common/Ref.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

class HostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(library_.IsLoaded()) << library_.Error();
    createInstance_ = library_.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
    attach_ = library_.Get<VolmAttachFunction>(kVolmAttachName);
    detach_ = library_.Get<VolmDetachFunction>(kVolmDetachName);
    canDllUnload_ = library_.Get<VolmCanDllUnloadFunction>(kVolmCanDllUnloadName);
    ASSERT_NE(createInstance_, nullptr);
    ASSERT_NE(attach_, nullptr);
    ASSERT_NE(detach_, nullptr);
    ASSERT_NE(canDllUnload_, nullptr);
    ASSERT_EQ(canDllUnload_(), 1) << "a previous test left objects alive";
  }

  void TearDown() override {
    if (canDllUnload_ != nullptr) {
      EXPECT_EQ(canDllUnload_(), 1) << "objects left alive";
    }
  }

  // The factory with one reference held by `factory`.
  void TakeFactory(Ref<IVolmTimeFactory>& factory) {
    void* object = nullptr;
    ASSERT_EQ(createInstance_(CLSID_VolmTimeFactory, &object), VOLM_S_OK);
    ASSERT_NE(object, nullptr);
    static_cast<IVolmTimeFactory*>(object)->AddRef();
    *factory.Out() = static_cast<IVolmTimeFactory*>(object);
  }

  static std::string TextOf(IVolmWideCharString* text) {
    const VolmWideChar* buffer = nullptr;
    if (text->GetBuffer(&buffer) != VOLM_S_OK || buffer == nullptr) return "<no text>";
    std::string narrow;
    for (; *buffer != 0; ++buffer) narrow.push_back(static_cast<char>(*buffer));
    return narrow;
  }

  static std::string LastErrorText(IVolmUnknown* object) {
    Ref<IGetVolmError> source;
    if (object->QueryInterface(IID_IGetVolmError, source.OutVoid()) != VOLM_S_OK)
      return "<no source>";
    Ref<IVolmError> error;
    source->GetError(error.Out());
    if (!error) return "<none>";
    Ref<IVolmWideCharString> text;
    error->GetText(text.Out());
    return TextOf(text.Get());
  }

  DynamicLibrary library_{VOLM_LIBRARY_FILE};
  VolmCreateInstanceFunction createInstance_ = nullptr;
  VolmAttachFunction attach_ = nullptr;
  VolmDetachFunction detach_ = nullptr;
  VolmCanDllUnloadFunction canDllUnload_ = nullptr;
};

// A host that holds the factory, its advanced interface and both default clocks.
class FactoryHostTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    if (HasFatalFailure()) return;
    TakeFactory(factory_);
    ASSERT_EQ(factory_->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced_.OutVoid()),
              VOLM_S_OK);
    ASSERT_EQ(factory_->GetRelativeClock(relative_.Out()), VOLM_S_OK);
    ASSERT_EQ(factory_->GetSystemClock(system_.Out()), VOLM_S_OK);
  }
  // A subclass releases what it holds first, then calls this.
  void TearDown() override {
    system_.Reset();
    relative_.Reset();
    advanced_.Reset();
    factory_.Reset();
    HostTest::TearDown();
  }

  Ref<IVolmTimeFactory> factory_;
  Ref<IVolmTimeFactoryAdvanced> advanced_;
  Ref<IClock> relative_;
  Ref<IClock> system_;
};

#endif  // TESTS_HOST_LOADEDLIBRARY_H
