// Durations in time units become tick counts by the function's rate; rates that give no
// count, or one the counter cannot reach, are refused instead of waited on.
#include "VolmTime/Core/DurationTicks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using VolmTime::Core::TicksForDuration;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Case {
  std::uint64_t duration;
  double rate;
  std::uint64_t ticks;
};

TEST(DurationTicks, TruncatedQuotientOfDurationAndRate) {
  const Case cases[] = {
      {50'000, 10'000'000.0 / 3'579'545.0, 17'897},  // 17897.725 ticks
      {20'000, 0.01, 2'000'000},
      {7, 2.0, 3},
      {0, 1e-300, 0},
      {1'000, kInfinity, 0},  // every duration lasts no tick
      // Quotients from 2^63 on still convert in full.
      {std::uint64_t{3} << 62, 1.0, std::uint64_t{3} << 62},
  };
  for (const Case& c : cases) {
    const auto converted = TicksForDuration(c.duration, c.rate);
    EXPECT_EQ(converted.failure, nullptr) << c.duration << " / " << c.rate;
    EXPECT_EQ(converted.ticks, c.ticks) << c.duration << " / " << c.rate;
  }
}

TEST(DurationTicks, RatesThatGiveNoCountAreRefused) {
  for (const double rate : {0.0, -0.0, -1.0, -kInfinity, std::nan("")}) {
    const auto converted = TicksForDuration(10'000, rate);
    ASSERT_NE(converted.failure, nullptr) << rate;
    EXPECT_NE(std::basic_string_view(converted.failure).find(VOLM_TEXT("no usable rate")),
              std::basic_string_view<VolmWideChar>::npos);
  }
}

TEST(DurationTicks, CountsBeyondTheCounterAreRefused) {
  for (const auto& [duration, rate] : {std::pair{std::uint64_t{1}, 1e-300},
                                       std::pair{std::uint64_t{20'000}, 1e-16},
                                       std::pair{std::uint64_t{1} << 62, 0.25}}) {
    const auto converted = TicksForDuration(duration, rate);
    ASSERT_NE(converted.failure, nullptr) << duration << " / " << rate;
    EXPECT_NE(std::basic_string_view(converted.failure).find(VOLM_TEXT("more ticks than")),
              std::basic_string_view<VolmWideChar>::npos);
  }
}

}  // namespace
