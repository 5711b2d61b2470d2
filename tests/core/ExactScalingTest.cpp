// SPDX-License-Identifier: MIT
// The integer product of a tick difference and a rate against the double product it stands
// for, where the two could part: products next to a whole number, the ends of the integer
// path, rates that round up or down, and every rounding mode a host may set.
#include "VolmTime/Core/ExactScaling.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <random>
#include <vector>

namespace {

using namespace VolmTime::Core;

TEST(ExactScaling, AgreesWithTheDoubleProductAndAnswersTheUsualRatesInIntegers) {
  std::mt19937_64 random(2026);
  // 1 GHz, 10 MHz and 3.58 MHz counters, the ends of the fixed-point range, every 1/n for some
  // n (rounded up or down), disciplined rates near 0.01, and random rates of every size.
  std::vector<double> rates = {0.01,
                               1.0,
                               10'000'000.0 / 3'579'545.0,
                               0.0,
                               -0.01,
                               std::ldexp(1.0, -12),
                               std::ldexp(1.0, 11),
                               std::nextafter(std::ldexp(1.0, 11), 0.0)};
  for (int n = 2; n <= 4096; n += 7) rates.push_back(1.0 / n);
  for (int i = 0; i < 200; ++i) {
    rates.push_back(std::exp2(std::uniform_real_distribution<double>(-13.0, 12.0)(random)));
    rates.push_back(0.01 * (1.0 + std::uniform_real_distribution<double>(-1e-4, 1e-4)(random)));
  }
  std::uint64_t integerAnswers = 0;
  struct NearestAgainAtTheEnd {
    ~NearestAgainAtTheEnd() { std::fesetround(FE_TONEAREST); }
  } restore;
  for (const int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    for (const double rate : rates) {
      const FixedPointRate fixed = ToFixedPoint(rate);
      std::vector<std::uint64_t> counts = {0, 1, UINT64_MAX};
      for (int shift = 50; shift <= 54; ++shift) counts.push_back((std::uint64_t{1} << shift) - 1);
      for (int i = 0; i < 40; ++i) {
        counts.push_back(random() >> (random() % 64));
        // Counts whose product lies just below, on or just above a whole number.
        const double whole = std::floor(
            std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 56)));
        for (const double near :
             {std::floor(whole / rate) - 1, std::floor(whole / rate), std::floor(whole / rate) + 1})
          if (near >= 0 && near < 1.8e19) counts.push_back(static_cast<std::uint64_t>(near));
      }
      // Multiples of n when the rate is about 1/n: products on a whole number, or a hair off.
      if (rate > 0 && rate < 1) {
        const auto n = static_cast<std::uint64_t>(std::llround(1.0 / rate));
        for (const std::uint64_t k : {std::uint64_t{1}, std::uint64_t{12'345},
                                      1 + random() % ((std::uint64_t{1} << 51) / n)})
          counts.insert(counts.end(), {n * k, n * k - 1});
      }
      for (const std::uint64_t count : counts) {
        const std::uint64_t expected = TruncateToUint64(ToDouble(count) * rate);
        std::uint64_t scaled = 0;
        const bool exact = ScaleExactly(count, fixed, scaled);
        integerAnswers += exact && mode == FE_TONEAREST ? 1 : 0;
        ASSERT_EQ(exact ? scaled : ScaleTicks(count, rate, fixed), expected)
            << count << " at " << std::hexfloat << rate << " in mode " << mode;
      }
    }
  }
  std::fesetround(FE_TONEAREST);
  EXPECT_GT(integerAnswers, 20'000u) << "the integer path hardly ran";
  // The relative clock's rates over a day of ticks stay on the integer path.
  for (const double rate : {0.01, 1.0}) {
    std::uint64_t scaled = 0;
    EXPECT_TRUE(ScaleExactly(86'400'000'000'000, ToFixedPoint(rate), scaled)) << rate;
    EXPECT_TRUE(ScaleExactly(99, ToFixedPoint(rate), scaled)) << rate;
  }
}

}  // namespace
