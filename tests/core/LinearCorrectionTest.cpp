// The linear mapping between ticks and time, at the edges of its arithmetic.
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/LinearCorrectionFunction.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using Linear = VolmTime::Core::LinearCorrectionFunction<std::uint64_t, std::uint64_t>;
using VolmTime::Core::TruncateToUint64;

TEST(LinearCorrection, AnchorMapsToItselfBothWays) {
  const Linear line(123'456'789, 2.7936511484001456, 987'654'321);
  EXPECT_EQ(line.TickToTime(123'456'789), 987'654'321u);
  EXPECT_EQ(line.TimeToTick(987'654'321), 123'456'789u);
}

TEST(LinearCorrection, BothDirectionsTruncate) {
  const Linear line(0, 10'000'000.0 / 3'579'545.0, 0);
  EXPECT_EQ(line.TickToTime(1), 2u);
  EXPECT_EQ(line.TimeToTick(2), 0u);
  EXPECT_EQ(line.TimeToTick(line.TickToTime(1000)), 999u);
}

TEST(LinearCorrection, UnitRateAddsTheOffsetDifferenceModuloTwoTo64) {
  const Linear line(1'000, 1.0, 10);
  EXPECT_EQ(line.TickToTime(1'000 + 5), 15u);
  const Linear wrapping(10, 1.0, UINT64_MAX - 2);
  EXPECT_EQ(wrapping.TickToTime(15), 2u);  // sum wraps
}

TEST(LinearCorrection, ProductsAboveTwoTo63KeepTheTopBit) {
  const Linear line(0, 1.0, 0);
  const std::uint64_t tick = (std::uint64_t{1} << 63) + 4096;
  EXPECT_EQ(line.TickToTime(tick), tick);
}

TEST(LinearCorrection, TicksBeforeTheAnchorWrapForward) {
  // The difference is taken modulo 2^64: a tick just before the anchor is far in the future.
  const Linear line(1'000, 1.0, 0);
  EXPECT_GT(line.TickToTime(999), std::uint64_t{1} << 63);
}

TEST(FullRangeConversion, ValuesWithoutAnUnsignedMeaningHaveFixedAnswers) {
  EXPECT_EQ(TruncateToUint64(std::nan("")), 0u);
  EXPECT_EQ(TruncateToUint64(-5.5), 0u);
  EXPECT_EQ(TruncateToUint64(0.999), 0u);
  EXPECT_EQ(TruncateToUint64(1e30), UINT64_MAX);
  EXPECT_EQ(TruncateToUint64(std::numeric_limits<double>::infinity()), UINT64_MAX);
  EXPECT_EQ(TruncateToUint64(9223372036854775808.0), std::uint64_t{1} << 63);
  EXPECT_EQ(TruncateToUint64(1.8446744073709550e19), 18446744073709549568u);
}

TEST(LinearCorrection, ZeroRateGivesTheLargestTickInsteadOfUndefinedBehaviour) {
  const Linear line(0, 0.0, 0);
  EXPECT_EQ(line.TimeToTick(5), UINT64_MAX);  // 5 / 0 = infinity
  EXPECT_EQ(line.TimeToTick(0), 0u);          // 0 / 0 = NaN
  EXPECT_EQ(line.TickToTime(5), 0u);
}

}  // namespace
