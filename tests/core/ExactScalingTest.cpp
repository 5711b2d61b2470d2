// The integer product of a tick difference and a rate against the double product it stands
// for, over rates and differences chosen where the two could part.
#include "VolmTime/Core/ExactScaling.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <initializer_list>
#include <random>
#include <vector>

namespace {

using namespace VolmTime::Core;

constexpr std::uint64_t kTwoTo51 = std::uint64_t{1} << 51;

std::uint64_t DoubleProduct(std::uint64_t count, double rate) {
  return TruncateToUint64(ToDouble(count) * rate);
}

// Rates of counters (1 GHz, 10 MHz, the ACPI timer's 3.58 MHz), every 1/n as a double (some
// round up, some down), disciplined rates near them, random rates over the whole range held in
// fixed point, and the values at and beyond its ends.
std::vector<double> Rates(std::mt19937_64& random) {
  std::vector<double> rates = {0.01, 1.0, 10'000'000.0 / 3'579'545.0, 0.0, -0.01};
  for (const double end : {std::ldexp(1.0, -12), std::ldexp(1.0, 11)}) {
    rates.push_back(end);
    rates.push_back(std::nextafter(end, 0.0));
  }
  for (int n = 2; n <= 4096; n += 3) rates.push_back(1.0 / n);
  std::uniform_real_distribution<double> exponent(-13.0, 12.0);
  std::uniform_real_distribution<double> drift(-1e-4, 1e-4);
  for (int i = 0; i < 300; ++i) {
    rates.push_back(std::exp2(exponent(random)));
    rates.push_back(0.01 * (1.0 + drift(random)));
  }
  return rates;
}

// Differences of every magnitude; those whose product lies next to a whole number, where the
// rounding of the double product decides; multiples of 1/rate and one less; the edges of the
// integer path (2^51, 2^52, 2^53) and "negative" differences from a tick before the anchor.
std::vector<std::uint64_t> Counts(double rate, std::mt19937_64& random) {
  std::vector<std::uint64_t> counts = {0, 1, UINT64_MAX, UINT64_MAX - 99};
  for (std::uint64_t edge = kTwoTo51; edge <= kTwoTo51 * 4; edge *= 2) {
    counts.push_back(edge - 1);
    counts.push_back(edge);
  }
  for (int i = 0; i < 60; ++i) {
    counts.push_back(random() >> (random() % 64));
    const double whole =
        std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 56));
    const double near = std::floor(std::floor(whole) / rate);
    for (const double each : {near - 1, near, near + 1}) {
      if (each >= 0 && each < 1.8e19) counts.push_back(static_cast<std::uint64_t>(each));
    }
  }
  if (rate > 0 && rate < 1) {
    const auto n = static_cast<std::uint64_t>(std::llround(1.0 / rate));
    for (const std::uint64_t k :
         {std::uint64_t{1}, std::uint64_t{12'345}, random() % (kTwoTo51 / n)}) {
      counts.push_back(n * k);
      counts.push_back(n * k - 1);
    }
  }
  return counts;
}

struct Sweep {
  std::uint64_t checked = 0;
  std::uint64_t answered = 0;  // by the integer path
  std::uint64_t wrong = 0;
};

// Every rate against its counts, in the thread's rounding mode of the moment.
Sweep CompareEverywhere() {
  std::mt19937_64 random(2026);
  Sweep sweep;
  for (const double rate : Rates(random)) {
    const FixedPointRate fixed = ToFixedPoint(rate);
    for (const std::uint64_t count : Counts(rate, random)) {
      ++sweep.checked;
      std::uint64_t scaled = 0;
      const bool exact = ScaleExactly(count, fixed, scaled);
      sweep.answered += exact ? 1 : 0;
      const bool right = (!exact || scaled == DoubleProduct(count, rate)) &&
                         ScaleTicks(count, rate, fixed) == DoubleProduct(count, rate);
      if (!right && sweep.wrong++ == 0) {
        ADD_FAILURE() << "count " << count << " rate " << std::hexfloat << rate << ": "
                      << ScaleTicks(count, rate, fixed) << " instead of "
                      << DoubleProduct(count, rate);
      }
    }
  }
  return sweep;
}

TEST(ExactScaling, AgreesWithTheDoubleProductWhereverItAnswers) {
  const Sweep sweep = CompareEverywhere();
  EXPECT_EQ(sweep.wrong, 0u);
  // Most counts are in reach of the integer path, or this proves little.
  EXPECT_GT(sweep.answered, sweep.checked * 6 / 10) << sweep.answered << " of " << sweep.checked;
}

// A host may round otherwise; its thread then gets the double product of that mode.
TEST(ExactScaling, FollowsTheThreadsRoundingMode) {
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    const Sweep sweep = CompareEverywhere();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(sweep.wrong, 0u) << "rounding mode " << mode;
  }
}

// The relative clock's rates (a 1 GHz and a 10 MHz counter) over the differences it meets stay
// on the fast path.
TEST(ExactScaling, AnswersTheUsualClockRatesInIntegers) {
  const double oneGigahertz = 10'000'000.0 / 1'000'000'000.0;
  const double tenMegahertz = 10'000'000.0 / 10'000'000.0;
  for (const double rate : {oneGigahertz, tenMegahertz}) {
    for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{99}, std::uint64_t{100},
                                      std::uint64_t{86'400'000'000'000}, kTwoTo51 - 1}) {
      std::uint64_t scaled = 0;
      EXPECT_TRUE(ScaleExactly(count, ToFixedPoint(rate), scaled)) << count << " at " << rate;
    }
  }
}

}  // namespace
