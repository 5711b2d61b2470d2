// SPDX-License-Identifier: MIT
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

// Waits whose timer was due after 4 ms: every `period`-th woke `late` units after that, the
// others 50 us after it. After 5,000 such waits the margin lies in [least, most].
TEST(WakeUpMargin, SettlesWhereOneWakeUpInTwentyIsLater) {
  constexpr std::int64_t kLeast = WakeUpMargin::kLeastUnits, kMost = WakeUpMargin::kMostUnits;
  constexpr std::int64_t kRise = WakeUpMargin::kRiseUnits;
  const struct {
    const char* machine;
    int period;
    std::int64_t late, least, most;
  } patterns[] = {
      {"quiet: never later than the least margin", 1, 500, kLeast, kLeast},
      {"idle virtual processor: all 600 us late", 1, 6'000, 6'000, 6'000 + kRise},
      {"one in ten 500 us late", 10, 5'000, 4'800, 5'000 + kRise},
      {"one in forty 500 us late", 40, 5'000, kLeast, kLeast + kRise},
      {"stalls of 5 ms", 1, 50'000, kMost, kMost},
  };
  for (const auto& pattern : patterns) {
    SCOPED_TRACE(pattern.machine);
    WakeUpMargin margin;
    EXPECT_EQ(margin.Units(), kLeast);
    for (int wait = 1; wait <= 5'000; ++wait)
      margin.Observe(40'000 + (wait % pattern.period == 0 ? pattern.late : 500), 40'000);
    EXPECT_GE(margin.Units(), pattern.least);
    EXPECT_LE(margin.Units(), pattern.most);
  }
}

}  // namespace
