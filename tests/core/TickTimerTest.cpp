// The tick timer core: due times and periods handed to the platform, and the meaning of its
// wait outcomes. A recording platform stands in where the arming must be observed exactly.
#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/TimerArithmetic.h"
#include "VolmTime/Core/WindowsWaitableTickTimer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Core;
namespace Platform = VolmTime::Platform;
using Platform::NativeHandle;

// A core counter that only reports a frequency.
class FrequencyOnlyCounter : public IHighResolutionCounter {
 public:
  explicit FrequencyOnlyCounter(std::uint64_t frequency) : frequency_(frequency) {}
  const WideString& GetName() const override { return name_; }
  std::unique_ptr<IWaitableTickTimer> CreateTickTimer() override { return nullptr; }
  void SleepTick(std::uint64_t) override {}
  std::uint64_t GetFrequency() const override { return frequency_; }
  std::uint64_t GetTick() const override { return 0; }
  bool IsAvailable() const override { return true; }
  bool HasTickTimer() const override { return false; }
  void SpinTick(std::uint64_t) override {}

 private:
  std::uint64_t frequency_;
  WideString name_ = VOLM_TEXT("test counter");
};

// Passes every call to the real platform and records the armings.
class RecordingPlatform : public ITickTimerPlatform {
 public:
  struct Arming {
    std::int64_t dueTime;
    std::int32_t periodMs;
  };

  Platform::UniqueHandle CreateAutoResetTimer() override {
    if (failTimerCreation) return {};
    return SystemTickTimerPlatform().CreateAutoResetTimer();
  }
  Platform::UniqueHandle CreateAutoResetEvent() override {
    return SystemTickTimerPlatform().CreateAutoResetEvent();
  }
  bool ArmTimer(NativeHandle timer, std::int64_t dueTime, std::int32_t periodMs) override {
    armings.push_back({dueTime, periodMs});
    return SystemTickTimerPlatform().ArmTimer(timer, dueTime, periodMs);
  }
  bool CancelTimer(NativeHandle timer) override {
    return SystemTickTimerPlatform().CancelTimer(timer);
  }
  bool SetEvent(NativeHandle event) override { return SystemTickTimerPlatform().SetEvent(event); }
  bool ResetEvent(NativeHandle event) override {
    return SystemTickTimerPlatform().ResetEvent(event);
  }
  std::uint32_t WaitForAny(const NativeHandle* handles, std::uint32_t count,
                           std::uint32_t timeoutMs) override {
    return SystemTickTimerPlatform().WaitForAny(handles, count, timeoutMs);
  }

  bool failTimerCreation = false;
  std::vector<Arming> armings;
};

using Timer = WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;
using Linear = LinearCorrectionFunction<std::uint64_t, std::uint64_t>;

struct TimerAt {
  explicit TimerAt(std::uint64_t frequency)
      : counter(frequency),
        correction(0, 10'000'000.0 / static_cast<double>(frequency), 0),
        timer(&counter, &correction, platform) {}
  FrequencyOnlyCounter counter;
  Linear correction;
  RecordingPlatform platform;
  Timer timer;
};

TEST(TickTimerArming, TenMegahertzTicksAreHundredNanosecondUnits) {
  TimerAt at(10'000'000);
  at.timer.SetRelative(20'000);
  at.timer.SetPeriodic(20'000);
  ASSERT_EQ(at.platform.armings.size(), 2u);
  EXPECT_EQ(at.platform.armings[0].dueTime, -20'000);
  EXPECT_EQ(at.platform.armings[0].periodMs, 0);
  EXPECT_EQ(at.platform.armings[1].dueTime, -20'000);
  EXPECT_EQ(at.platform.armings[1].periodMs, 2);
}

TEST(TickTimerArming, OddFrequencyTruncatesEachStep) {
  TimerAt at(3'579'545);
  at.timer.SetRelative(1'000);
  at.timer.SetPeriodic(35'795);
  ASSERT_EQ(at.platform.armings.size(), 2u);
  EXPECT_EQ(at.platform.armings[0].dueTime, -2'793);
  // 99998.742857 units: due time -99998 and a period of 9 ms, not 10.
  EXPECT_EQ(at.platform.armings[1].dueTime, -99'998);
  EXPECT_EQ(at.platform.armings[1].periodMs, 9);
}

TEST(TickTimerArming, PeriodBelowAMillisecondFiresOnce) {
  TimerAt at(10'000'000);
  at.timer.SetPeriodic(9'999);
  ASSERT_EQ(at.platform.armings.size(), 1u);
  EXPECT_EQ(at.platform.armings[0].periodMs, 0);
}

TEST(TickTimerArming, ZeroTicksIsADueTimeOfZero) {
  TimerAt at(3'579'545);
  at.timer.SetRelative(0);
  ASSERT_EQ(at.platform.armings.size(), 1u);
  EXPECT_EQ(at.platform.armings[0].dueTime, 0);
  // Due time 0 is a moment long past: the timer has fired already.
  EXPECT_EQ(at.timer.Wait(2'000), 0);
}

TEST(TickTimerArming, AbsoluteTickIsMappedThroughTheCorrectionFunction) {
  FrequencyOnlyCounter counter(10'000'000);
  Linear correction(1'000, 1.0, 5'000'000);
  RecordingPlatform platform;
  Timer timer(&counter, &correction, platform);
  timer.SetAbsolute(1'500);
  ASSERT_EQ(platform.armings.size(), 1u);
  EXPECT_EQ(platform.armings[0].dueTime, 5'000'500);
  EXPECT_EQ(platform.armings[0].periodMs, 0);
}

TEST(TickTimerArming, HugePeriodsAreClampedNotWrapped) {
  const TimerArming arming = PeriodicArming(1, std::uint64_t{1} << 40);
  EXPECT_EQ(arming.periodMs, INT32_MAX);
  EXPECT_EQ(arming.dueTime, INT64_MIN);
}

TEST(TickTimerCreation, MissingTimerShowsAtGetHandle) {
  FrequencyOnlyCounter counter(10'000'000);
  Linear correction(0, 1.0, 0);
  RecordingPlatform platform;
  platform.failTimerCreation = true;
  Timer timer(&counter, &correction, platform);
  try {
    (void)timer.GetHandle();
    FAIL() << "GetHandle succeeded without a timer";
  } catch (const CException& failure) {
    EXPECT_STREQ(failure.what(), "CreateWaitableTimer failed!");
  }
  // The wait fails at the platform and reads as a plain 0.
  EXPECT_EQ(timer.Wait(0), 0);
}

class RealTickTimer : public ::testing::Test {
 protected:
  FrequencyOnlyCounter counter_{10'000'000};
  Linear correction_{0, 1.0, 0};
  Timer timer_{&counter_, &correction_};
};

TEST_F(RealTickTimer, IdleTimerTimesOutAsZero) { EXPECT_EQ(timer_.Wait(0), 0); }

TEST_F(RealTickTimer, CancelWakesAWaiterWithMinusOne) {
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(timer_.Cancel());
  });
  EXPECT_EQ(timer_.Wait(Platform::kInfinite), -1);
  canceller.join();
}

TEST_F(RealTickTimer, PendingCancellationIsDiscardedByTheNextArming) {
  EXPECT_TRUE(timer_.Cancel());
  EXPECT_EQ(timer_.Wait(Platform::kInfinite), -1);
  timer_.Cancel();
  timer_.SetRelative(200'000);  // 20 ms
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(timer_.Wait(5'000), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

TEST_F(RealTickTimer, FiringAndCancellationTogetherReportTheFiringFirst) {
  timer_.SetRelative(0);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  timer_.Cancel();  // the firing is already signalled and stays so
  EXPECT_EQ(timer_.Wait(1'000), 0);
  EXPECT_EQ(timer_.Wait(1'000), -1);
}

TEST_F(RealTickTimer, HandleIsStableAcrossArmings) {
  const NativeHandle before = timer_.GetHandle();
  timer_.SetRelative(10'000);
  timer_.SetAbsolute(1);
  timer_.SetPeriodic(100'000);
  timer_.Cancel();
  EXPECT_EQ(timer_.GetHandle(), before);
}

}  // namespace
