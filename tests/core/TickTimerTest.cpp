// The tick timer core: what it hands the platform timer, and the meaning of its wait outcomes
// on the real platform.
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/WindowsWaitableTickTimer.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Core;
using Timer = WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;
using Linear = LinearCorrectionFunction<std::uint64_t, std::uint64_t>;
constexpr std::uint32_t kInfinite = VolmTime::Platform::kInfinite;

TEST(TickTimer, ArmsThePlatformTimerWithTheConvertedDueTimes) {
  SteeredCounter counter(3'579'545);
  Linear correction(1'000, 1.0, 5'000'000);
  RecordingPlatform platform;
  Timer timer(&counter, &correction, platform);
  EXPECT_TRUE(timer.SetRelative(1'000));
  EXPECT_TRUE(timer.SetPeriodic(35'795));
  EXPECT_TRUE(timer.SetAbsolute(1'500));  // through the correction function: absolute
  EXPECT_EQ(platform.armings, (std::vector<std::string>{"-2793/0", "-99998/9", "5000500/0"}));
}

TEST(TickTimer, MissingPlatformTimerShowsAtGetHandle) {
  SteeredCounter counter(10'000'000);
  Linear correction(0, 1.0, 0);
  RecordingPlatform platform;
  platform.failTimerCreation = true;
  Timer timer(&counter, &correction, platform);
  EXPECT_EQ(FailureOf([&] { (void)timer.GetHandle(); }), "CreateWaitableTimer failed!");
  EXPECT_EQ(timer.Wait(0), 0);  // the wait fails at the platform and reads as a plain 0
}

class RealTickTimer : public ::testing::Test {
 protected:
  SteeredCounter counter_{10'000'000};
  Linear correction_{0, 1.0, 0};
  Timer timer_{&counter_, &correction_};
};

TEST_F(RealTickTimer, CancelWakesAWaiterWithMinusOneAndTheNextArmingDiscardsIt) {
  EXPECT_EQ(timer_.Wait(0), 0);
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(timer_.Cancel());
  });
  EXPECT_EQ(timer_.Wait(kInfinite), -1);
  canceller.join();
  const auto handle = timer_.GetHandle();
  timer_.Cancel();
  timer_.SetRelative(200'000);  // 20 ms
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(timer_.Wait(5'000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
  EXPECT_EQ(timer_.GetHandle(), handle);
}

TEST_F(RealTickTimer, FiringAndCancellationTogetherReportTheFiringFirst) {
  timer_.SetRelative(0);  // due time 0 is long past: fires at once
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  timer_.Cancel();
  EXPECT_EQ(timer_.Wait(1'000), 0);
  EXPECT_EQ(timer_.Wait(1'000), -1);
}

}  // namespace
