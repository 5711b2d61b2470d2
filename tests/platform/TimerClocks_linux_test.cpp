// Linux only: what a timer handle is made of. A relative due time must run on the monotonic
// clock (a change of the system time must not move it) and an absolute one on the system
// clock; arming one way disarms the other. Changing the clocks themselves is not possible
// in a test, so the kernel's own account of the timers (/proc/self/fdinfo) is read instead.
#if defined(__linux__)

#include "platform/SystemTime.h"
#include "platform/Timer.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <time.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace VolmTime::Platform;

constexpr std::int64_t kUnitsPerMs = 10'000;

struct InnerTimer {
  int clock = -1;
  bool armed = false;
  bool absolute = false;
};

std::vector<std::string> FdInfoLines(int descriptor) {
  std::ifstream info("/proc/self/fdinfo/" + std::to_string(descriptor));
  std::vector<std::string> lines;
  for (std::string line; std::getline(info, line);) lines.push_back(line);
  return lines;
}

InnerTimer ReadInnerTimer(int descriptor) {
  InnerTimer timer;
  for (const std::string& line : FdInfoLines(descriptor)) {
    std::istringstream fields(line);
    std::string key;
    fields >> key;
    if (key == "clockid:") {
      fields >> timer.clock;
    } else if (key == "settime") {  // "settime flags: 01"
      std::string flags;
      fields >> flags >> flags;
      timer.absolute = std::stoi(flags, nullptr, 8) & 1;  // TFD_TIMER_ABSTIME
    } else if (key == "it_value:") {                      // "it_value: (s, ns)"
      timer.armed = line.find("(0, 0)") == std::string::npos;
    }
  }
  return timer;
}

// The timerfds watched by the timer's epoll handle, by clock.
std::map<int, InnerTimer> InnerTimers(int handle) {
  std::map<int, InnerTimer> timers;
  for (const std::string& line : FdInfoLines(handle)) {
    std::istringstream fields(line);
    std::string key;
    int member = -1;
    if (!(fields >> key >> member) || key != "tfd:") continue;
    const InnerTimer timer = ReadInnerTimer(member);
    if (timer.clock >= 0) timers[timer.clock] = timer;
  }
  return timers;
}

std::size_t OpenDescriptorCount() {
  std::size_t count = 0;
  DIR* directory = ::opendir("/proc/self/fd");
  while (::readdir(directory) != nullptr) ++count;
  ::closedir(directory);
  return count;
}

TEST(TimerClocks, RelativeDueTimesRunOnTheMonotonicClockAbsoluteOnesOnTheSystemClock) {
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(timer);
  auto inner = InnerTimers(timer.Get());
  ASSERT_EQ(inner.size(), 2u);
  ASSERT_TRUE(inner.count(CLOCK_MONOTONIC));
  ASSERT_TRUE(inner.count(CLOCK_REALTIME));
  EXPECT_FALSE(inner[CLOCK_MONOTONIC].armed);
  EXPECT_FALSE(inner[CLOCK_REALTIME].armed);

  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
  inner = InnerTimers(timer.Get());
  EXPECT_TRUE(inner[CLOCK_MONOTONIC].armed);
  EXPECT_FALSE(inner[CLOCK_MONOTONIC].absolute);
  EXPECT_FALSE(inner[CLOCK_REALTIME].armed);

  const auto due = static_cast<std::int64_t>(PreciseSystemTime()) + 60'000 * kUnitsPerMs;
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
  inner = InnerTimers(timer.Get());
  EXPECT_FALSE(inner[CLOCK_MONOTONIC].armed);
  EXPECT_TRUE(inner[CLOCK_REALTIME].armed);
  EXPECT_TRUE(inner[CLOCK_REALTIME].absolute);

  ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
  inner = InnerTimers(timer.Get());
  EXPECT_FALSE(inner[CLOCK_MONOTONIC].armed);
  EXPECT_FALSE(inner[CLOCK_REALTIME].armed);
}

TEST(TimerClocks, ClosingATimerClosesEverythingItIsMadeOf) {
  const std::size_t before = OpenDescriptorCount();
  {
    UniqueHandle timer = CreateWaitableTimer(false);
    ASSERT_TRUE(timer);
    EXPECT_GT(OpenDescriptorCount(), before + 1);
  }
  EXPECT_EQ(OpenDescriptorCount(), before);
}

}  // namespace

#endif  // defined(__linux__)
