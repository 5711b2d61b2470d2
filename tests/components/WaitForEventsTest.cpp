// Waiting on several handles through the component: every outcome comes back as the
// platform gives it, with S_OK, and nothing is ever stored as an error.
#include "VolmTime/Core/Platform/Event.h"
#include "VolmTime/WaitForEvents.h"
#include "framework/CVolmPtr.h"
#include "framework/LiveObjects.h"

#include <gtest/gtest.h>

namespace {

using VolmTime::WaitForEvents;
namespace Platform = VolmTime::Core::Platform;

class WaitForEventsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto& event : events_) {
      event = Platform::CreateAutoResetEvent();
      ASSERT_TRUE(event);
    }
  }
  void TearDown() override {
    waiter_.Reset();
    EXPECT_EQ(GetLiveObjectCount(), liveBefore_);
  }

  void Signal(int index) { ASSERT_TRUE(Platform::SetEvent(events_[index].Get())); }

  // Waits on all three events; the result must be S_OK whatever the outcome.
  std::uint32_t WaitOnAll(bool waitAll, std::uint32_t timeoutMs) {
    const VolmHandle handles[] = {events_[0].Get(), events_[1].Get(), events_[2].Get()};
    std::uint32_t outcome = 0xDEADBEEF;
    EXPECT_EQ(waiter_->Wait(handles, 3, waitAll, timeoutMs, &outcome), VOLM_S_OK);
    return outcome;
  }

  bool HasStoredError() {
    CVolmPtr<IVolmError> error;
    waiter_->GetError(error.Put());
    return static_cast<bool>(error);
  }

  std::uint32_t liveBefore_ = GetLiveObjectCount();
  Platform::UniqueHandle events_[3];
  CVolmPtr<WaitForEvents> waiter_{new WaitForEvents};
};

TEST_F(WaitForEventsTest, WaitForAnyReportsTheLowestSignalledIndex) {
  Signal(1);
  EXPECT_EQ(WaitOnAll(false, 0), 1u);
  Signal(2);
  Signal(0);
  EXPECT_EQ(WaitOnAll(false, 0), 0u);
  // The wait took only the signal it reported.
  EXPECT_EQ(WaitOnAll(false, 0), 2u);
  EXPECT_EQ(WaitOnAll(false, 0), 0x102u);
}

TEST_F(WaitForEventsTest, WaitForAllTimesOutUntilEveryHandleIsSignalled) {
  Signal(0);
  Signal(2);
  EXPECT_EQ(WaitOnAll(true, 0), 0x102u);
  Signal(1);
  EXPECT_EQ(WaitOnAll(true, 0), 0u);
}

TEST_F(WaitForEventsTest, FailedWaitIsAnOutcomeNotAnError) {
  const VolmHandle handles[] = {events_[0].Get(), Platform::kNoHandle};
  std::uint32_t outcome = 0;
  EXPECT_EQ(waiter_->Wait(handles, 2, false, 0, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, 0xFFFFFFFFu);
  EXPECT_FALSE(HasStoredError());
}

TEST_F(WaitForEventsTest, NullOutcomeIsRefusedWithoutWaiting) {
  Signal(0);
  const VolmHandle handles[] = {events_[0].Get()};
  EXPECT_EQ(waiter_->Wait(handles, 1, false, 0, nullptr), VOLM_E_POINTER);
  // The signal is still there: nothing waited on it.
  EXPECT_EQ(WaitOnAll(false, 0), 0u);
}

TEST_F(WaitForEventsTest, AnswersOnlyItsOwnInterface) {
  CVolmPtr<IWaitForEvents> same;
  EXPECT_EQ(waiter_->QueryInterface(VolmIds().waitForEvents, same.PutVoid()), VOLM_S_OK);
  EXPECT_EQ(same.Get(), static_cast<IWaitForEvents*>(waiter_.Get()));
  void* object = reinterpret_cast<void*>(0x1);
  EXPECT_EQ(waiter_->QueryInterface(VolmIds().clock, &object), VOLM_E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
}

}  // namespace
