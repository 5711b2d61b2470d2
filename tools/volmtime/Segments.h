// SPDX-License-Identifier: MIT
// A shared function's samples evaluated as the library evaluates them, so that the tool's
// joins, steps and offsets are exact to the unit.
#ifndef TOOLS_VOLMTIME_SEGMENTS_H
#define TOOLS_VOLMTIME_SEGMENTS_H

#include <VolmTime/VolmSampleStore.h>

#include <cstdint>
#include <optional>
#include <span>

using VolmTime::CorrectionSample;

// The time a segment gives at `tick` (at or after its own): the segment's time plus the tick
// difference times the rate, truncated toward zero over the whole unsigned range, as the
// library computes it.
std::uint64_t TimeOnSegment(const CorrectionSample& segment, std::uint64_t tick);

// The time the samples (oldest first, ticks increasing) give at `tick`: the last sample at or
// before it, the latest running on. Nothing before the first sample or on a rate of 0.
std::optional<std::uint64_t> TimeOnSamples(std::span<const CorrectionSample> samples,
                                           std::uint64_t tick);

// a - b for two times (or ticks) near each other, exact however large they are.
constexpr std::int64_t Difference(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::int64_t>(a - b);
}

#endif  // TOOLS_VOLMTIME_SEGMENTS_H
