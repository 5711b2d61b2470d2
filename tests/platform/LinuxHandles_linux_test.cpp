// Linux only: what a timer handle is made of, the host's own descriptors in waits, and waits
// interrupted by signals. Windows has no such descriptors and no such interruption.
#if defined(__linux__)

#include "platform/Event.h"
#include "platform/SystemTime.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

namespace {

using namespace VolmTime::Platform;
constexpr std::int64_t kUnitsPerMs = 10'000;

// "armed" or "absolute" for each timerfd the timer's epoll handle watches, by clock, as the
// kernel's own account (/proc/self/fdinfo) has it: the clocks cannot be changed in a test.
std::map<int, std::string> InnerTimers(int handle) {
  std::map<int, std::string> timers;
  std::ifstream set("/proc/self/fdinfo/" + std::to_string(handle));
  for (std::string line; std::getline(set, line);) {
    std::istringstream fields(line);
    std::string key;
    int member = -1;
    if (!(fields >> key >> member) || key != "tfd:") continue;
    std::ifstream info("/proc/self/fdinfo/" + std::to_string(member));
    int clock = -1;
    std::string state = "idle";
    for (std::string entry; std::getline(info, entry);) {
      if (entry.rfind("clockid:", 0) == 0) clock = std::stoi(entry.substr(8));
      if (entry.rfind("it_value:", 0) == 0 && entry.find("(0, 0)") == std::string::npos)
        state = state == "absolute" ? state : "armed";
      if (entry.rfind("settime flags:", 0) == 0 && (std::stoi(entry.substr(14), nullptr, 8) & 1))
        state = "absolute";
    }
    if (clock >= 0) timers[clock] = state;  // the set also watches an eventfd
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

// A relative due time runs on the monotonic clock (a change of the system time must not move
// it), an absolute one on the system clock; arming one way disarms the other.
TEST(TimerHandle, RelativeRunsOnTheMonotonicClockAbsoluteOnTheSystemClock) {
  const std::size_t before = OpenDescriptorCount();
  {
    UniqueHandle timer = CreateWaitableTimer(false);
    using Timers = std::map<int, std::string>;
    EXPECT_EQ(InnerTimers(timer.Get()), (Timers{{CLOCK_REALTIME, "idle"}, {CLOCK_MONOTONIC, "idle"}}));
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -60'000 * kUnitsPerMs, 0));
    EXPECT_EQ(InnerTimers(timer.Get()), (Timers{{CLOCK_REALTIME, "idle"}, {CLOCK_MONOTONIC, "armed"}}));
    const auto due = static_cast<std::int64_t>(PreciseSystemTime()) + 60'000 * kUnitsPerMs;
    ASSERT_TRUE(ArmWaitableTimer(timer.Get(), due, 0));
    EXPECT_EQ(InnerTimers(timer.Get())[CLOCK_REALTIME], "absolute");
    EXPECT_NE(InnerTimers(timer.Get())[CLOCK_MONOTONIC], "armed");
    ASSERT_TRUE(CancelWaitableTimer(timer.Get()));
    for (const auto& [clock, state] : InnerTimers(timer.Get())) EXPECT_NE(state, "armed") << clock;
    EXPECT_GT(OpenDescriptorCount(), before + 1);
  }
  EXPECT_EQ(OpenDescriptorCount(), before);  // closing closes everything it is made of
}

// Readable pipes and blocking descriptors are reported and left for the host; non-blocking
// eventfds (and timerfds) are taken like auto-reset events.
TEST(HostDescriptors, AreReportedAndOnlyNonBlockingOnesTaken) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  UniqueHandle readEnd(ends[0]);
  UniqueHandle writeEnd(ends[1]);
  UniqueHandle event = CreateAutoResetEvent();
  const NativeHandle handles[] = {event.Get(), readEnd.Get()};
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitTimeout);
  ASSERT_EQ(::write(writeEnd.Get(), "x", 1), 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  EXPECT_EQ(WaitForMany(handles, 2, false, 0), kWaitObject0 + 1);
  const std::uint64_t one = 1;
  UniqueHandle blocking(::eventfd(0, EFD_CLOEXEC));
  ASSERT_EQ(::write(blocking.Get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  EXPECT_EQ(WaitForOne(blocking.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(blocking.Get(), 0), kWaitObject0);
  UniqueHandle nonBlocking(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  ASSERT_EQ(::write(nonBlocking.Get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  EXPECT_EQ(WaitForOne(nonBlocking.Get(), 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(nonBlocking.Get(), 0), kWaitTimeout);
}

// The host's own poll sees a timer handle fire without taking the firing.
TEST(HostDescriptors, TimerHandleWorksInTheHostsOwnPoll) {
  UniqueHandle timer = CreateWaitableTimer(true);
  pollfd polled{timer.Get(), POLLIN, 0};
  ASSERT_TRUE(ArmWaitableTimer(timer.Get(), -10 * kUnitsPerMs, 0));
  EXPECT_EQ(::poll(&polled, 1, 2'000), 1);
  EXPECT_EQ(WaitForOne(timer.Get(), 0), kWaitObject0);
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
  const auto start = std::chrono::steady_clock::now();
  std::thread waiter([&] { outcome = WaitForOne(timer.Get(), 5'000); });
  for (int i = 0; i < 5; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
    ::pthread_kill(waiter.native_handle(), SIGUSR1);
  }
  waiter.join();
  EXPECT_EQ(outcome.load(), kWaitObject0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(140));
  ASSERT_EQ(::sigaction(SIGUSR1, &previous, nullptr), 0);
}

}  // namespace

#endif  // defined(__linux__)
