// SPDX-License-Identifier: MIT
// The tick counter and the system time.
#include "platform/Counter.h"
#include "platform/SystemTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Platform;

// The host's clock is read on both sides of each counter reading, so the counter's interval
// lies between the inner and the outer host interval however long the scheduler keeps the
// thread away; 1 percent allows for a host clock that is slewed and for coarse clocks.
TEST(Counter, TicksGrowAtTheReportedFrequency) {
  using Host = std::chrono::steady_clock;
  std::uint64_t frequency = 0;
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  ASSERT_TRUE(ReadTickFrequency(frequency));
  const auto outerStart = Host::now();
  ASSERT_TRUE(ReadTick(start));
  const auto innerStart = Host::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const auto innerEnd = Host::now();
  ASSERT_TRUE(ReadTick(end));
  const auto outerEnd = Host::now();
  const double counterSeconds = static_cast<double>(end - start) / static_cast<double>(frequency);
  const auto seconds = [](Host::duration span) {
    return std::chrono::duration<double>(span).count();
  };
  EXPECT_GE(counterSeconds, 0.99 * seconds(innerEnd - innerStart) - 0.001);
  EXPECT_LE(counterSeconds, 1.01 * seconds(outerEnd - outerStart) + 0.001);
}

// Both read the system time; one is read between two readings of the other.
TEST(SystemTime, IsAFileTimeThatAgreesWithTheHostClock) {
  const auto fileTimeNow = [] {
    const auto units =
        std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>(
            std::chrono::system_clock::now().time_since_epoch())
            .count();
    return static_cast<std::uint64_t>(units) + kUnixEpochAsFileTime;
  };
  const std::uint64_t before = fileTimeNow();
  const std::uint64_t precise = PreciseSystemTime();
  const std::uint64_t after = fileTimeNow();
  constexpr std::uint64_t kGranularity = 100'000;  // 10 ms, for hosts with a coarse clock
  EXPECT_GE(precise + kGranularity, before);
  EXPECT_LE(precise, after + kGranularity);
}

}  // namespace
