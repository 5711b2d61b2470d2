// SPDX-License-Identifier: MIT
// The tick timer core on the real platform: a platform timer it could not make, and the
// meaning of its wait outcomes.
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/WindowsWaitableTickTimer.h"
#include "platform/FaultInjection.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <chrono>
#include <thread>

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

TEST_F(TickTimer, CancelWakesAWaiterWithMinusOneAndTheNextArmingDiscardsIt) {
  EXPECT_EQ(timer_.Wait(0), 0);
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(timer_.Cancel());
  });
  EXPECT_EQ(timer_.Wait(VolmTime::Platform::kInfinite), -1);
  canceller.join();
  const auto handle = timer_.GetHandle();
  timer_.Cancel();
  timer_.SetRelative(200'000);  // 20 ms
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(timer_.Wait(5'000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
  EXPECT_EQ(timer_.GetHandle(), handle);
}

TEST_F(TickTimer, FiringAndCancellationTogetherReportTheFiringFirst) {
  timer_.SetRelative(0);  // due time 0 is long past: fires at once
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  timer_.Cancel();
  EXPECT_EQ(timer_.Wait(1'000), 0);
  EXPECT_EQ(timer_.Wait(1'000), -1);
}

}  // namespace
