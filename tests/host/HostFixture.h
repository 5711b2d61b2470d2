// SPDX-License-Identifier: MIT
// The library as a host sees it: loaded at run time by file name and started through the
// host start-up helper, public headers only.
#ifndef TESTS_HOST_HOSTFIXTURE_H
#define TESTS_HOST_HOSTFIXTURE_H

#include <VolmTime/VolmTime.h>

#include "tools/common/HostTimeBase.h"
#include "tools/common/LoadedLibrary.h"
#include "tools/common/Ref.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using Wide = std::basic_string<VolmWideChar>;

inline Wide WideOf(const std::string& ascii) { return Wide(ascii.begin(), ascii.end()); }

// Keeps the library loaded for the whole test, so that CanDllUnload tells afterwards whether
// the test left objects alive. It asks in the destructor, once a fixture derived from this one
// has released what it holds.
class HostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    try {
      library_.emplace(std::vector<LibraryCandidate>{{VOLM_LIBRARY_FILE}});
      canDllUnload_ = library_->Get<VolmCanDllUnloadFunction>(kVolmCanDllUnloadName);
    } catch (const LibraryLoadError& failure) {
      FAIL() << failure.what();
    }
    ASSERT_EQ(canDllUnload_(), 1) << "a previous test left objects alive";
  }
  ~HostTest() override {
    EXPECT_TRUE(canDllUnload_ == nullptr || canDllUnload_() == 1) << "objects left alive";
  }
  std::optional<LoadedLibrary> library_;
  VolmCanDllUnloadFunction canDllUnload_ = nullptr;
};

// A host started the usual way, holding the factory, its advanced interface and both clocks
// (released in the reverse order, before the host lets go of the library).
class FactoryHostTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    if (HasFatalFailure()) return;
    host_.emplace(VOLM_LIBRARY_FILE);
    ASSERT_TRUE(host_->IsReady()) << host_->Error();
    factory_ = host_->Factory();
    ASSERT_EQ(factory_->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced_.OutVoid()),
              VOLM_S_OK);
    ASSERT_EQ(factory_->GetRelativeClock(relative_.Out()), VOLM_S_OK);
    ASSERT_EQ(factory_->GetSystemClock(system_.Out()), VOLM_S_OK);
  }
  std::optional<HostTimeBase> host_;
  IVolmTimeFactory* factory_ = nullptr;
  Ref<IVolmTimeFactoryAdvanced> advanced_;
  Ref<IClock> relative_;
  Ref<IClock> system_;
};

#endif  // TESTS_HOST_HOSTFIXTURE_H
