// SPDX-License-Identifier: MIT
#include "Segments.h"

#include <algorithm>

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

// The library's conversion of a product to a count: NaN and anything not above 0 give 0,
// 2^64 and more the largest count, the top bit kept from 2^63 on.
std::uint64_t Truncate(double value) {
  if (!(value > 0.0)) return 0;
  if (value >= kTwoTo64) return UINT64_MAX;
  if (value >= kTwoTo63)
    return static_cast<std::uint64_t>(value - kTwoTo63) + (std::uint64_t{1} << 63);
  return static_cast<std::uint64_t>(value);
}

}  // namespace

std::uint64_t TimeOnSegment(const CorrectionSample& segment, std::uint64_t tick) {
  return segment.time + Truncate(static_cast<double>(tick - segment.tick) * segment.rate);
}

std::optional<std::uint64_t> TimeOnSamples(std::span<const CorrectionSample> samples,
                                           std::uint64_t tick) {
  const auto after = std::upper_bound(
      samples.begin(), samples.end(), tick,
      [](std::uint64_t value, const CorrectionSample& sample) { return value < sample.tick; });
  if (after == samples.begin() || std::prev(after)->rate == 0.0) return std::nullopt;
  return TimeOnSegment(*std::prev(after), tick);
}
