// SPDX-License-Identifier: MIT
// The tick timer core on the real platform: a platform timer it could not make, and the
// meaning of its wait outcomes.
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/WindowsWaitableTickTimer.h"
#include "platform/FaultInjection.h"
#include "platform/SystemTime.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace VolmTime::Core;

class TickTimer : public ::testing::Test {
 protected:
  SteeredCounter counter_{10'000'000};
  LinearCorrectionFunction<std::uint64_t, std::uint64_t> correction_{0, 1.0, 0};
  WindowsWaitableTickTimer<std::uint64_t, std::uint64_t> timer_{&counter_, &correction_};
};

TEST_F(TickTimer, MissingPlatformTimerShowsAtGetHandle) {
  VolmTime::Platform::Faults().failTimerCreations = 1;
  const WindowsWaitableTickTimer<std::uint64_t, std::uint64_t> failed(&counter_, &correction_);
  EXPECT_EQ(FailureOf([&] { (void)failed.GetHandle(); }), "CreateWaitableTimer failed!");
}

// Every kind of arming discards a cancellation that no wait has taken yet: the next wait
// reports the firing, not the old cancel, and not before the timer is due.
TEST_F(TickTimer, CancelWakesAWaiterWithMinusOneAndEveryArmingDiscardsIt) {
  EXPECT_EQ(timer_.Wait(0), 0);
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(timer_.Cancel());
  });
  EXPECT_EQ(timer_.Wait(VolmTime::Platform::kInfinite), -1);
  canceller.join();
  const auto handle = timer_.GetHandle();
  // Ticks are 100-ns units and map to themselves as system times. The periodic arming comes
  // last: a firing of its next period may be pending by the time it is cancelled.
  const std::vector<std::pair<const char*, std::function<void()>>> armings = {
      {"relative", [&] { timer_.SetRelative(200'000); }},
      {"absolute", [&] { timer_.SetAbsolute(VolmTime::Platform::PreciseSystemTime() + 200'000); }},
      {"periodic", [&] { timer_.SetPeriodic(200'000); }}};
  for (const auto& [kind, arm] : armings) {
    timer_.Cancel();
    const auto start = std::chrono::steady_clock::now();
    arm();
    EXPECT_EQ(timer_.Wait(VolmTime::Platform::kInfinite), 0) << kind;
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15)) << kind;
  }
  timer_.Cancel();
  EXPECT_EQ(timer_.GetHandle(), handle);
}

TEST_F(TickTimer, FiringAndCancellationTogetherReportTheFiringFirst) {
  timer_.SetRelative(0);  // due time 0 is long past: fires at once
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  timer_.Cancel();
  EXPECT_EQ(timer_.Wait(VolmTime::Platform::kInfinite), 0);
  EXPECT_EQ(timer_.Wait(VolmTime::Platform::kInfinite), -1);
}

}  // namespace
