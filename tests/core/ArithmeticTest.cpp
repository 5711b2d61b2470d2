// The arithmetic between ticks, time units and platform due times, at the edges of its
// ranges. Cases are rows: input, expected answer.
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
constexpr std::uint64_t kTop = std::uint64_t{1} << 63;

bool Says(const VolmWideChar* failure, std::basic_string_view<VolmWideChar> part) {
  return failure != nullptr && std::basic_string_view(failure).find(part) != part.npos;
}

TEST(DurationTicks, TruncatedQuotientOfDurationAndRate) {
  const struct { std::uint64_t duration; double rate; std::uint64_t ticks; } rows[] = {
      {50'000, 10'000'000.0 / 3'579'545.0, 17'897},  // 17897.725 ticks
      {20'000, 0.01, 2'000'000},
      {7, 2.0, 3},
      {0, 1e-300, 0},
      {1'000, kInfinity, 0},  // every duration lasts no tick
      {std::uint64_t{3} << 62, 1.0, std::uint64_t{3} << 62},  // from 2^63 on, in full
  };
  for (const auto& row : rows) {
    const auto converted = TicksForDuration(row.duration, row.rate);
    EXPECT_EQ(converted.failure, nullptr) << row.duration << " / " << row.rate;
    EXPECT_EQ(converted.ticks, row.ticks) << row.duration << " / " << row.rate;
  }
}

TEST(DurationTicks, RatesThatGiveNoCountOrTooManyTicksAreRefused) {
  for (const double rate : {0.0, -0.0, -1.0, -kInfinity, std::nan("")}) {
    EXPECT_TRUE(Says(TicksForDuration(10'000, rate).failure, VOLM_TEXT("no usable rate"))) << rate;
  }
  for (const auto& [duration, rate] : {std::pair{std::uint64_t{1}, 1e-300},
                                       std::pair{std::uint64_t{20'000}, 1e-16},
                                       std::pair{std::uint64_t{1} << 62, 0.25}}) {
    EXPECT_TRUE(Says(TicksForDuration(duration, rate).failure, VOLM_TEXT("more ticks than")))
        << duration << " / " << rate;
  }
}

TEST(FullRangeConversion, ValuesWithoutAnUnsignedMeaningHaveFixedAnswers) {
  const struct { double value; std::uint64_t expected; } rows[] = {
      {std::nan(""), 0}, {-5.5, 0}, {0.999, 0}, {1e30, UINT64_MAX}, {kInfinity, UINT64_MAX},
      {9223372036854775808.0, kTop}, {1.8446744073709550e19, 18446744073709549568u}};
  for (const auto& row : rows) EXPECT_EQ(TruncateToUint64(row.value), row.expected) << row.value;
}

TEST(LinearCorrection, MapsThroughItsAnchorTruncatingAndWrappingModuloTwoTo64) {
  const Linear odd(123'456'789, 10'000'000.0 / 3'579'545.0, 987'654'321);
  EXPECT_EQ(odd.TickToTime(123'456'789), 987'654'321u);
  EXPECT_EQ(odd.TimeToTick(987'654'321), 123'456'789u);
  EXPECT_EQ(odd.TickToTime(123'456'790), 987'654'323u);  // 2.79 truncates to 2
  EXPECT_EQ(odd.TimeToTick(987'654'323), 123'456'789u);  // 0.716 truncates to 0
  EXPECT_EQ(Linear(10, 1.0, UINT64_MAX - 2).TickToTime(15), 2u);  // the sum wraps
  EXPECT_EQ(Linear(0, 1.0, 0).TickToTime(kTop + 4096), kTop + 4096);
  EXPECT_GT(Linear(1'000, 1.0, 0).TickToTime(999), kTop);  // before the anchor: far ahead
  const Linear flat(0, 0.0, 0);
  EXPECT_EQ(flat.TimeToTick(5), UINT64_MAX);  // 5 / 0 = infinity
  EXPECT_EQ(flat.TimeToTick(0), 0u);          // 0 / 0 = NaN
}

TEST(TimerArithmetic, ArmingsAreNegativeTruncatedDueTimesAndWholeMillisecondPeriods) {
  const struct { std::uint64_t frequency, ticks; std::int64_t dueTime; std::int32_t periodMs; }
  rows[] = {
      {10'000'000, 20'000, -20'000, 2},
      {3'579'545, 35'795, -99'998, 9},  // 99998.74 units: 9 ms, not 10
      {3'579'545, 3'579, -9'998, 0},    // under a millisecond: fires once
      {3'579'545, 0, 0, 0},
      {1, std::uint64_t{1} << 40, INT64_MIN, INT32_MAX},  // clamped, not wrapped
  };
  for (const auto& row : rows) {
    const TimerArming periodic = PeriodicArming(row.frequency, row.ticks);
    EXPECT_EQ(periodic.dueTime, row.dueTime) << row.ticks;
    EXPECT_EQ(periodic.periodMs, row.periodMs) << row.ticks;
    const TimerArming once = RelativeArming(row.frequency, row.ticks);
    EXPECT_EQ(once.dueTime, row.dueTime) << row.ticks;
    EXPECT_EQ(once.periodMs, 0) << row.ticks;
  }
}

TEST(SleepDueTime, IsTheTruncatedDurationWithoutWrapping) {
  const std::uint64_t hour = 3'600ull * 1'000'000'000ull;
  const struct { std::uint64_t ticks, frequency; std::int64_t dueTime; } rows[] = {
      {0, 3'579'545, 0},
      {1'000, 3'579'545, -2'793},
      {3'579'545 + 1'000, 3'579'545, -10'002'793},
      {1'000'000'000, 1'000'000'000, -10'000'000},
      {hour, 1'000'000'000, -36'000'000'000},  // ticks * 10^7 would wrap
      {UINT64_MAX, 1'000'000'000, -184'467'440'737'095'516},
      {UINT64_MAX, 1, -std::numeric_limits<std::int64_t>::max()},  // the longest, not wrapped
  };
  for (const auto& row : rows) {
    EXPECT_EQ(SleepDueTime(row.ticks, row.frequency), row.dueTime) << row.ticks;
  }
}

}  // namespace
