// The platform counter as a core object, on the real platform.
#include "VolmTime/Core/CException.h"
#include "platform/FaultInjection.h"
#include "VolmTime/Core/WindowsCounter.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using VolmTime::Core::CException;
using VolmTime::Core::SleepDueTime;
using VolmTime::Core::WindowsCounter;
using VolmTime::Platform::Faults;

TEST(WindowsCounter, AnswersAsThePlatformCounter) {
  WindowsCounter counter;
  EXPECT_EQ(EncodeUtf8PerUnit(counter.GetName()), "QPC timer");
  EXPECT_TRUE(counter.IsAvailable());
  EXPECT_FALSE(counter.HasTickTimer());
  EXPECT_EQ(counter.GetFrequency(), counter.GetFrequency());
  EXPECT_EQ(FailureOf([&] { (void)counter.CreateTickTimer(); }),
            "VolmTime::Core::WindowsCounter::CreateTickTimer failed. Reason: Cannot create timer.");
}

TEST(WindowsCounter, SleepLastsAtLeastTheTicks) {
  WindowsCounter counter;
  for (const std::uint64_t ticks : {std::uint64_t{0}, counter.GetFrequency() / 100}) {
    const std::uint64_t before = counter.GetTick();
    counter.SleepTick(ticks);
    EXPECT_GE(counter.GetTick() - before, ticks);
  }
}

TEST(WindowsCounter, SpinLastsMoreThanTheTicks) {
  WindowsCounter counter;
  for (const std::uint64_t ticks : {std::uint64_t{0}, counter.GetFrequency() / 1000}) {
    const std::uint64_t before = counter.GetTick();
    counter.SpinTick(ticks);
    EXPECT_GT(counter.GetTick() - before, ticks);
  }
}

TEST(WindowsCounter, PlatformFailuresBecomeTheirMessages) {
  Faults().failFrequencyReads = 1;
  EXPECT_EQ(FailureOf([] { WindowsCounter counter; }),
            "VolmTime::Core::WindowsCounter::WindowsCounter failed. Reason: calling QPC failed.");
  WindowsCounter counter;
  Faults().failTickReads = 1;
  EXPECT_EQ(FailureOf([&] { (void)counter.GetTick(); }),
            "VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed.");
  Faults().failTimerCreations = 1;
  EXPECT_EQ(FailureOf([&] { counter.SleepTick(10); }),
            "VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Cannot create timer.");
  Faults().failTickReads = 1;
  EXPECT_EQ(FailureOf([&] { counter.SpinTick(10); }),
            "VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed.");
  // Nothing is left broken.
  EXPECT_NO_THROW(counter.SleepTick(10));
}

TEST(SleepDueTime, IsTheTruncatedDurationInHundredNanoseconds) {
  EXPECT_EQ(SleepDueTime(0, 3'579'545), 0);
  EXPECT_EQ(SleepDueTime(1'000, 3'579'545), -2'793);
  EXPECT_EQ(SleepDueTime(3'579'545, 3'579'545), -10'000'000);
  EXPECT_EQ(SleepDueTime(1'000'000'000, 1'000'000'000), -10'000'000);
}

TEST(SleepDueTime, DoesNotWrapForLongWaitsAtOneGigahertz) {
  // One hour of 1 GHz ticks: the 64-bit product of ticks and 10,000,000 would wrap.
  const std::uint64_t hour = 3'600ull * 1'000'000'000ull;
  EXPECT_EQ(SleepDueTime(hour, 1'000'000'000), -36'000'000'000);
  EXPECT_EQ(SleepDueTime(UINT64_MAX, 1'000'000'000), -184'467'440'737'095'516);
  // Beyond what the platform can take, the longest due time instead of a wrapped short one.
  EXPECT_EQ(SleepDueTime(UINT64_MAX, 1), -std::numeric_limits<std::int64_t>::max());
}

}  // namespace
