// The whole chain from a clock's duration to the platform's due time, at a counter frequency
// where every truncation shows.
#include "../core/CounterDoubles.h"

#include "platform/Event.h"
#include "platform/Timer.h"
#include "platform/Wait.h"
#include "VolmTime/Core/TimerArithmetic.h"
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "VolmTime/WaitableTimer.h"
#include "VolmTime/WindowsWaitableTickTimer.h"
#include "framework/LiveObjects.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace VolmTime;
using Platform::NativeHandle;

class ArmingRecorder : public Core::ITickTimerPlatform {
 public:
  Platform::UniqueHandle CreateAutoResetTimer() override {
    return Platform::CreateWaitableTimer(false);
  }
  Platform::UniqueHandle CreateAutoResetEvent() override {
    return Platform::CreateAutoResetEvent();
  }
  bool ArmTimer(NativeHandle, std::int64_t dueTime, std::int32_t periodMs) override {
    armings.push_back({dueTime, periodMs});
    return true;
  }
  bool CancelTimer(NativeHandle timer) override {
    return Platform::CancelWaitableTimer(timer);
  }
  bool SetEvent(NativeHandle event) override { return Platform::SetEvent(event); }
  bool ResetEvent(NativeHandle event) override { return Platform::ResetEvent(event); }
  std::uint32_t WaitForAny(const NativeHandle* handles, std::uint32_t count,
                           std::uint32_t timeoutMs) override {
    return Platform::WaitForMany(handles, count, false, timeoutMs);
  }
  std::vector<Core::TimerArming> armings;
};

TEST(TimerChain, DurationsAtAnOddFrequencyTruncateTwice) {
  const std::uint32_t live = GetLiveObjectCount();
  {
    ArmingRecorder platform;
    CVolmPtr<HighResDriverCounter> counter(
        new HighResDriverCounter(std::make_unique<SteeredCounter>(3'579'545)));
    CVolmPtr<LinearCorrectionFunction> correction(
        new LinearCorrectionFunction(0, 10'000'000.0 / 3'579'545.0, 0));
    CVolmPtr<WindowsWaitableTickTimer> tickTimer(
        new WindowsWaitableTickTimer(counter.Get(), correction.Get(), platform));
    CVolmPtr<WaitableTimer> timer(new WaitableTimer(correction.Get(), tickTimer.Get()));
    const std::uint64_t oneMillisecond = 10'000;
    EXPECT_EQ(timer->SetRelative(oneMillisecond), VOLM_S_OK);
    EXPECT_EQ(timer->SetPeriodic(oneMillisecond), VOLM_S_OK);
    ASSERT_EQ(platform.armings.size(), 2u);
    // 3579 ticks, then 9998.477 units: due time -9998, and a period of 0 ms (one-shot).
    EXPECT_EQ(platform.armings[0].dueTime, -9'998);
    EXPECT_EQ(platform.armings[1].dueTime, -9'998);
    EXPECT_EQ(platform.armings[1].periodMs, 0);
  }
  EXPECT_EQ(GetLiveObjectCount(), live);
}

}  // namespace
