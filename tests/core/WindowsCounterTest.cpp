// The platform counter as a core object, on the real platform.
#include "VolmTime/Core/WindowsCounter.h"
#include "platform/FaultInjection.h"
#include "tests/support/Helpers.h"

namespace {

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

}  // namespace
