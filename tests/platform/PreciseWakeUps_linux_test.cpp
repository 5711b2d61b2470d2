// Linux only: the timer slack is a Linux thread setting; elsewhere PreciseWakeUps does nothing.
// A sleep ends precisely only while the slack is at its least, and the host's thread must get
// its own setting back afterwards, also when that setting was not the default.
#if defined(__linux__)

#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>

namespace {

using VolmTime::Platform::PreciseWakeUps;

int Slack() { return ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); }

TEST(PreciseWakeUps, LeastSlackWhileAliveThenTheThreadsOwnAgain) {
  const int original = Slack();
  ASSERT_EQ(::prctl(PR_SET_TIMERSLACK, 123'000UL, 0, 0, 0), 0);
  {
    const PreciseWakeUps precise;
    EXPECT_EQ(Slack(), 1);
    {
      const PreciseWakeUps nested;
      EXPECT_EQ(Slack(), 1);
    }
    EXPECT_EQ(Slack(), 1);
  }
  EXPECT_EQ(Slack(), 123'000);
  ASSERT_EQ(::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(original), 0, 0, 0), 0);
}

}  // namespace

#endif  // defined(__linux__)
