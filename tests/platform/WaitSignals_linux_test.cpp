// Linux only: a signal handled by the process can interrupt a wait (poll fails with EINTR).
// Windows waits have no such interruption.
#if defined(__linux__)

#include "platform/Timer.h"
#include "platform/Wait.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Platform;

constexpr std::int64_t kUnitsPerMs = 10'000;

void IgnoreSignal(int) {}

// The wait carries on with what is left of its timeout instead of failing or returning early.
TEST(WaitSignals, WaitCarriesOnAfterASignalInterruptsIt) {
  struct sigaction action {};
  action.sa_handler = IgnoreSignal;  // no SA_RESTART: poll fails with EINTR
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
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(outcome.load(), kWaitObject0);
  EXPECT_GE(elapsed, std::chrono::milliseconds(140));
  ASSERT_EQ(::sigaction(SIGUSR1, &previous, nullptr), 0);
}

}  // namespace

#endif  // defined(__linux__)
