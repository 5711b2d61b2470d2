// SPDX-License-Identifier: MIT
// The arithmetic between ticks, time units and platform due times: linear mappings over the
// whole unsigned range, durations as tick counts, and the armings of the platform timer.
#include "VolmTime/Core/DurationTicks.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/TimerArithmetic.h"
#include "VolmTime/Core/WindowsCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string_view>

namespace {

using namespace VolmTime::Core;
using Linear = LinearCorrectionFunction<std::uint64_t, std::uint64_t>;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kQpcRate = 10'000'000.0 / 3'579'545.0;
constexpr std::uint64_t kTop = std::uint64_t{1} << 63;

TEST(LinearCorrection, TruncatesBothWaysAndWrapsModuloTwoTo64) {
  const Linear odd(123'456'789, 2.7936511484001456, 987'654'321);
  EXPECT_EQ(odd.TickToTime(123'456'789), 987'654'321u);
  EXPECT_EQ(odd.TimeToTick(987'654'321), 123'456'789u);
  const Linear qpc(0, kQpcRate, 0);
  EXPECT_EQ(qpc.TickToTime(1), 2u);
  EXPECT_EQ(qpc.TimeToTick(2), 0u);
  EXPECT_EQ(qpc.TimeToTick(qpc.TickToTime(1000)), 999u);
  EXPECT_EQ(Linear(10, 1.0, UINT64_MAX - 2).TickToTime(15), 2u);
  EXPECT_EQ(Linear(0, 1.0, 0).TickToTime(kTop + 4096), kTop + 4096);
  EXPECT_GT(Linear(1'000, 1.0, 0).TickToTime(999), kTop);  // before the anchor is far ahead
  const Linear flat(0, 0.0, 0);
  EXPECT_EQ(flat.TimeToTick(5), UINT64_MAX);  // 5 / 0
  EXPECT_EQ(flat.TimeToTick(0), 0u);          // 0 / 0
  EXPECT_EQ(flat.TickToTime(5), 0u);
}

TEST(FullRangeConversion, ValuesWithoutAnUnsignedMeaningHaveFixedAnswers) {
  const std::pair<double, std::uint64_t> cases[] = {{std::nan(""), 0},
                                                    {-5.5, 0},
                                                    {0.999, 0},
                                                    {1e30, UINT64_MAX},
                                                    {kInfinity, UINT64_MAX},
                                                    {9223372036854775808.0, kTop},
                                                    {1.8446744073709550e19, 18446744073709549568u}};
  for (const auto& [value, expected] : cases) EXPECT_EQ(TruncateToUint64(value), expected) << value;
}

TEST(DurationTicks, TruncatedQuotientOfDurationAndRate) {
  struct Case {
    std::uint64_t duration;
    double rate;
    std::uint64_t ticks;
  };
  const Case cases[] = {{50'000, kQpcRate, 17'897},
                        {20'000, 0.01, 2'000'000},
                        {7, 2.0, 3},
                        {0, 1e-300, 0},
                        {1'000, kInfinity, 0},  // every duration lasts no tick
                        {std::uint64_t{3} << 62, 1.0, std::uint64_t{3} << 62}};
  for (const Case& c : cases) {
    const auto converted = TicksForDuration(c.duration, c.rate);
    EXPECT_EQ(converted.failure, nullptr) << c.duration << " / " << c.rate;
    EXPECT_EQ(converted.ticks, c.ticks) << c.duration << " / " << c.rate;
  }
}

// Rates that give no count, and counts the counter cannot reach, are refused with a reason.
TEST(DurationTicks, RatesWithoutAReachableCountAreRefused) {
  const std::tuple<std::uint64_t, double, std::basic_string_view<VolmWideChar>> cases[] = {
      {10'000, 0.0, VOLM_TEXT("no usable rate")},
      {10'000, -0.0, VOLM_TEXT("no usable rate")},
      {10'000, -1.0, VOLM_TEXT("no usable rate")},
      {10'000, -kInfinity, VOLM_TEXT("no usable rate")},
      {10'000, std::nan(""), VOLM_TEXT("no usable rate")},
      {1, 1e-300, VOLM_TEXT("more ticks than")},
      {20'000, 1e-16, VOLM_TEXT("more ticks than")},
      {std::uint64_t{1} << 62, 0.25, VOLM_TEXT("more ticks than")}};
  for (const auto& [duration, rate, reason] : cases) {
    const auto converted = TicksForDuration(duration, rate);
    ASSERT_NE(converted.failure, nullptr) << duration << " / " << rate;
    EXPECT_NE(std::basic_string_view(converted.failure).find(reason), std::string_view::npos)
        << duration << " / " << rate;
  }
}

TEST(TimerArming, DueTimesAndPeriodsTruncateEachStep) {
  struct Case {
    std::uint64_t frequency, ticks;
    std::int64_t dueTime;
    std::int32_t periodMs;
  };
  const Case cases[] = {
      {10'000'000, 20'000, -20'000, 2},
      {3'579'545, 35'795, -99'998, 9},  // 99998.74 units: 9 ms, not 10
      {10'000'000, 9'999, -9'999, 0},   // below a millisecond: fires once
      {3'579'545, 0, 0, 0},
      {1, std::uint64_t{1} << 40, INT64_MIN, INT32_MAX},  // clamped, not wrapped
  };
  for (const Case& c : cases) {
    const TimerArming periodic = PeriodicArming(c.frequency, c.ticks);
    EXPECT_EQ(periodic.dueTime, c.dueTime) << c.ticks << " at " << c.frequency;
    EXPECT_EQ(periodic.periodMs, c.periodMs) << c.ticks << " at " << c.frequency;
    EXPECT_EQ(RelativeArming(c.frequency, c.ticks).dueTime, c.dueTime);
    EXPECT_EQ(RelativeArming(c.frequency, c.ticks).periodMs, 0);
  }
}

TEST(SleepDueTime, IsTheTruncatedDurationWithoutWrapping) {
  struct Case {
    std::uint64_t ticks, frequency;
    std::int64_t dueTime;
  };
  const Case cases[] = {
      {0, 3'579'545, 0},
      {1'000, 3'579'545, -2'793},
      {3'579'545, 3'579'545, -10'000'000},
      {3'600ull * 1'000'000'000ull, 1'000'000'000, -36'000'000'000},  // the product would wrap
      {UINT64_MAX, 1'000'000'000, -184'467'440'737'095'516},
      {UINT64_MAX, 1, -std::numeric_limits<std::int64_t>::max()},  // the longest, not a wrap
  };
  for (const Case& c : cases) EXPECT_EQ(SleepDueTime(c.ticks, c.frequency), c.dueTime) << c.ticks;
}

}  // namespace
