// SPDX-License-Identifier: MIT
// The tick counter and the system time.
#include "platform/Counter.h"
#include "platform/SystemTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace VolmTime::Platform;

TEST(Counter, TicksGrowAtTheReportedFrequency) {
  std::uint64_t frequency = 0;
  std::uint64_t start = 0;
  ASSERT_TRUE(ReadTickFrequency(frequency));
  ASSERT_TRUE(ReadTick(start));
  const auto hostStart = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::uint64_t end = 0;
  ASSERT_TRUE(ReadTick(end));
  const double hostSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - hostStart).count();
  const double counterSeconds = static_cast<double>(end - start) / static_cast<double>(frequency);
  EXPECT_NEAR(counterSeconds, hostSeconds, 0.05 * hostSeconds + 0.005);
}

TEST(SystemTime, IsAFileTimeThatAgreesWithTheHostClock) {
  const auto hostUnits =
      std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>>(
          std::chrono::system_clock::now().time_since_epoch())
          .count();
  const auto expected = static_cast<std::uint64_t>(hostUnits) + kUnixEpochAsFileTime;
  EXPECT_NEAR(static_cast<double>(PreciseSystemTime()), static_cast<double>(expected), 100'000.0);
}

}  // namespace
