// The tick timer core on the platform's timers: the meaning of its wait outcomes (0 fired or
// timed out, -1 cancelled). What it arms the platform timer with is the timer arithmetic.
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/WindowsWaitableTickTimer.h"

#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Core;
using Timer = WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;
using Linear = LinearCorrectionFunction<std::uint64_t, std::uint64_t>;

TEST(TickTimer, MissingPlatformTimerShowsAtGetHandle) {
  SteeredCounter counter{10'000'000};
  Linear correction{0, 1.0, 0};
  Platform::Faults().failTimerCreations = 1;
  Timer timer(&counter, &correction);
  EXPECT_EQ(FailureOf([&] { (void)timer.GetHandle(); }), "CreateWaitableTimer failed!");
  EXPECT_EQ(timer.Wait(0), 0);  // the wait fails at the platform and reads as a plain 0
}

class RealTickTimer : public ::testing::Test {
 protected:
  SteeredCounter counter_{10'000'000};
  Linear correction_{0, 1.0, 0};
  Timer timer_{&counter_, &correction_};
};

TEST_F(RealTickTimer, CancelWakesAWaiterWithMinusOne) {
  EXPECT_EQ(timer_.Wait(0), 0);  // idle: times out
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(timer_.Cancel());
  });
  EXPECT_EQ(timer_.Wait(Platform::kInfinite), -1);
  canceller.join();
}

TEST_F(RealTickTimer, PendingCancellationIsDiscardedByTheNextArming) {
  const Platform::NativeHandle handle = timer_.GetHandle();
  timer_.Cancel();
  timer_.SetRelative(200'000);  // 20 ms
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(timer_.Wait(5'000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
  EXPECT_EQ(timer_.GetHandle(), handle);  // one handle for the timer's life
}

TEST_F(RealTickTimer, FiringAndCancellationTogetherReportTheFiringFirst) {
  timer_.SetRelative(0);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  timer_.Cancel();  // the firing is already signalled and stays so
  EXPECT_EQ(timer_.Wait(1'000), 0);
  EXPECT_EQ(timer_.Wait(1'000), -1);
}

}  // namespace
