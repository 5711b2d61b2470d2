// The platform counter as a core object, on the real platform.
#include "VolmTime/Core/WakeUpMargin.h"
#include "VolmTime/Core/WindowsCounter.h"
#include "platform/FaultInjection.h"
#include "tests/support/Helpers.h"

namespace {

using VolmTime::Core::WakeUpMargin;
using VolmTime::Core::WindowsCounter;
using VolmTime::Platform::Faults;

TEST(WindowsCounter, SleepsAndSpinsLastAtLeastTheirTicks) {
  WindowsCounter counter;
  EXPECT_EQ(Utf8(counter.GetName()), "QPC timer");
  EXPECT_TRUE(counter.IsAvailable());
  EXPECT_FALSE(counter.HasTickTimer());
  EXPECT_EQ(FailureOf([&] { (void)counter.CreateTickTimer(); }),
            "VolmTime::Core::WindowsCounter::CreateTickTimer failed. Reason: Cannot create timer.");
  for (const std::uint64_t ticks : {std::uint64_t{0}, counter.GetFrequency() / 100}) {
    std::uint64_t before = counter.GetTick();
    counter.SleepTick(ticks);
    EXPECT_GE(counter.GetTick() - before, ticks);
    before = counter.GetTick();
    counter.SpinTick(ticks / 10);
    EXPECT_GT(counter.GetTick() - before, ticks / 10);
  }
}

TEST(WindowsCounter, PlatformFailuresBecomeTheirMessages) {
  WindowsCounter counter;
  Faults().failTickReads = 1;
  EXPECT_EQ(FailureOf([&] { (void)counter.GetTick(); }),
            "VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed.");
  Faults().failTimerCreations = 1;
  EXPECT_EQ(FailureOf([&] { counter.SleepTick(10); }),
            "VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Cannot create timer.");
  EXPECT_NO_THROW(counter.SleepTick(10));  // nothing is left broken
}

// Waits whose timer was due after 4 ms: every `period`-th woke `lateUnits` after that, the
// others 50 us after it. After 5,000 such waits the margin lies in [least, most].
struct WakeUpPattern {
  const char* machine;
  int period;
  std::int64_t lateUnits;
  std::int64_t least;
  std::int64_t most;
};

TEST(WakeUpMargin, SettlesWhereOneWakeUpInTwentyIsLater) {
  constexpr std::int64_t kDue = 40'000;
  constexpr std::int64_t kRise = WakeUpMargin::kRiseUnits;
  const WakeUpPattern patterns[] = {
      {"quiet: never later than the least margin", 1, 500, WakeUpMargin::kLeastUnits,
       WakeUpMargin::kLeastUnits},
      {"idle virtual processor: all 600 us late", 1, 6'000, 6'000, 6'000 + kRise},
      {"one in ten 500 us late", 10, 5'000, 4'800, 5'000 + kRise},
      {"one in forty 500 us late", 40, 5'000, WakeUpMargin::kLeastUnits,
       WakeUpMargin::kLeastUnits + kRise},
      {"stalls of 5 ms", 1, 50'000, WakeUpMargin::kMostUnits, WakeUpMargin::kMostUnits},
  };
  for (const WakeUpPattern& pattern : patterns) {
    SCOPED_TRACE(pattern.machine);
    WakeUpMargin margin;
    EXPECT_EQ(margin.Units(), WakeUpMargin::kLeastUnits);
    for (int wait = 1; wait <= 5'000; ++wait) {
      margin.Observe(kDue + (wait % pattern.period == 0 ? pattern.lateUnits : 500), kDue);
    }
    EXPECT_GE(margin.Units(), pattern.least);
    EXPECT_LE(margin.Units(), pattern.most);
  }
}

}  // namespace
