// SPDX-License-Identifier: MIT
// Linux only: what a timer handle is made of, waits interrupted by signals, and the timer
// slack. Windows has no such descriptors, no such interruption and no slack setting
// (PreciseWakeUps does nothing there).
#if defined(__linux__)

#include "platform/SystemTime.h"
#include "platform/Thread.h"
#include "platform/Timer.h"
#include "platform/Wait.h"
#include "platform/linux/ProcessorLoad.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <time.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using namespace VolmTime::Platform;
constexpr std::int64_t kUnitsPerMs = 10'000;

// Each armed timerfd that the timer's epoll handle watches, by clock: "relative" or
// "absolute", as the kernel's own account (/proc/self/fdinfo) has it; the clocks cannot be
// changed in a test.
std::map<int, std::string> ArmedClocks(int handle) {
  std::map<int, std::string> armed;
  std::ifstream set("/proc/self/fdinfo/" + std::to_string(handle));
  for (std::string line; std::getline(set, line);) {
    std::istringstream fields(line);
    std::string key;
    int member = -1;
    if (!(fields >> key >> member) || key != "tfd:") continue;
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(member));
    int clock = -1;
    bool absolute = false;
    for (std::string entry; std::getline(info, entry);) {
      if (entry.rfind("clockid:", 0) == 0) clock = std::stoi(entry.substr(8));
      if (entry.rfind("settime flags:", 0) == 0)
        absolute = (std::stoi(entry.substr(14), nullptr, 8) & 1) != 0;  // TFD_TIMER_ABSTIME
      if (entry.rfind("it_value:", 0) == 0 && entry.find("(0, 0)") == std::string::npos)
        armed[clock] = absolute ? "absolute" : "relative";
    }
  }
  return armed;
}

std::size_t OpenDescriptorCount() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

// A relative due time runs on the monotonic clock (a change of the system time must not move
// it), an absolute one on the system clock; arming one way disarms the other. The host's own
// poll sees the handle fire without taking the firing, and closing the handle closes
// everything it is made of.
TEST(TimerHandle, RunsOnTheClockOfItsDueTimeAndWorksInTheHostsOwnPoll) {
  using Armed = std::map<int, std::string>;
  const std::size_t before = OpenDescriptorCount();
  {
    UniqueHandle timer = CreateWaitableTimer(true);
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
    EXPECT_EQ(ArmedClocks(timer.Get()), (Armed{{CLOCK_MONOTONIC, "relative"}}));
    const auto due = static_cast<std::int64_t>(PreciseSystemTime()) + 60'000 * kUnitsPerMs;
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
    EXPECT_EQ(ArmedClocks(timer.Get()), (Armed{{CLOCK_REALTIME, "absolute"}}));
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 0));
    EXPECT_EQ(ArmedClocks(timer.Get()), (Armed{{CLOCK_MONOTONIC, "relative"}}));
    pollfd polled{timer.Get(), POLLIN, 0};
    EXPECT_EQ(::poll(&polled, 1, 60'000), 1);  // due in 10 ms; patience for a busy machine
    EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
  }
  EXPECT_EQ(OpenDescriptorCount(), before);
}

void IgnoreSignal(int) {}

// A handled signal interrupts poll (EINTR): the wait carries on with what is left of its
// timeout instead of failing or returning early.
TEST(WaitSignals, WaitCarriesOnAfterASignalInterruptsIt) {
  struct sigaction action {};
  action.sa_handler = IgnoreSignal;  // no SA_RESTART
  struct sigaction previous {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  UniqueHandle timer = CreateWaitableTimer(false);
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -150 * kUnitsPerMs, 0));
  std::atomic<std::uint32_t> outcome{0xDEADu};
  std::thread waiter([&] { outcome = WaitForOne(timer.Get(), 60'000); });
  for (int i = 0; i < 5; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
    ::pthread_kill(waiter.native_handle(), SIGUSR1);
  }
  waiter.join();
  EXPECT_EQ(outcome.load(), kWaitObject0);  // not a failure, nor a timeout before the firing
  ASSERT_EQ(::sigaction(SIGUSR1, &previous, nullptr), 0);
}

int Slack() { return ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); }

// A sleep ends precisely only while the slack is at its least, and the host's thread gets its
// own setting back afterwards, also when that setting was not the default.
TEST(PreciseWakeUps, LeastSlackWhileAliveThenTheThreadsOwnAgain) {
  const int original = Slack();
  ASSERT_EQ(::prctl(PR_SET_TIMERSLACK, 123'000UL, 0, 0, 0), 0);
  {
    const PreciseWakeUps precise;
    { const PreciseWakeUps nested; }
    EXPECT_EQ(Slack(), 1);
  }
  EXPECT_EQ(Slack(), 123'000);
  ASSERT_EQ(::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(original), 0, 0, 0), 0);
}

// A yield on a machine whose processors are all taken must sleep rather than queue behind
// the busy threads, so the count has to see them. (Whether a quiet machine is seen as quiet
// depends on whatever else runs; the benchmarks show that side.)
TEST(PreciseWakeUps, AMachineWithMoreSpinningThreadsThanProcessorsIsSeenAsBusy) {
  std::atomic<bool> stop{false};
  std::vector<std::jthread> spinners;
  for (long i = 0; i <= ::sysconf(_SC_NPROCESSORS_ONLN); ++i) {
    spinners.emplace_back([&stop] {
      while (!stop.load(std::memory_order_relaxed)) {
      }
    });
  }
  EXPECT_FALSE(Linux::EveryRunnableThreadHasAProcessor());
  stop = true;
}

}  // namespace

#endif  // defined(__linux__)
