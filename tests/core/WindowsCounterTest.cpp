// The platform counter as a core object: sleeps and spins on the real counter, and
// platform failures as their messages.
#include "VolmTime/Core/Platform/FaultInjection.h"
#include "VolmTime/Core/WindowsCounter.h"

#include "tests/support/Helpers.h"

#include <gtest/gtest.h>

namespace {

using VolmTime::Core::WindowsCounter;
using VolmTime::Core::Platform::Faults;

// Only the lower bound is exact; nothing here bounds how late a busy machine wakes it.
TEST(WindowsCounter, SleepLastsAtLeastTheTicksAndSpinMoreThanThem) {
  WindowsCounter counter;
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
  Faults().failFrequencyReads = 1;
  EXPECT_EQ(FailureOf([] { WindowsCounter counter; }),
            "VolmTime::Core::WindowsCounter::WindowsCounter failed. Reason: calling QPC failed.");
  WindowsCounter counter;
  EXPECT_EQ(FailureOf([&] { (void)counter.CreateTickTimer(); }),
            "VolmTime::Core::WindowsCounter::CreateTickTimer failed. Reason: Cannot create timer.");
  Faults().failTickReads = 1;
  EXPECT_EQ(FailureOf([&] { counter.SpinTick(10); }),
            "VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed.");
  Faults().failTimerCreations = 1;
  EXPECT_EQ(FailureOf([&] { counter.SleepTick(10); }),
            "VolmTime::Core::WindowsCounter::SleepTick failed. Reason: Cannot create timer.");
  EXPECT_NO_THROW(counter.SleepTick(10));  // nothing is left broken
}

}  // namespace
