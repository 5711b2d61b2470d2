// SPDX-License-Identifier: MIT
#include "StoreAnalysis.h"

#include "Statistics.h"

#include <VolmTime/VolmTypes.h>

#include <algorithm>
#include <cmath>

double NominalRate(std::uint64_t frequency) {
  return static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) / static_cast<double>(frequency);
}

double RatePpm(double rate, double nominalRate) { return (rate / nominalRate - 1.0) * 1e6; }

std::vector<double> OffsetsFromLine(const std::vector<CorrectionSample>& samples) {
  std::vector<double> offsets;
  if (samples.empty()) return offsets;
  const CorrectionSample& first = samples.front();
  const CorrectionSample& last = samples.back();
  const double slope = last.tick > first.tick
                           ? static_cast<double>(Difference(last.time, first.time)) /
                                 static_cast<double>(last.tick - first.tick)
                           : 0.0;
  offsets.reserve(samples.size());
  for (const CorrectionSample& sample : samples) {
    offsets.push_back(static_cast<double>(Difference(sample.time, first.time)) -
                      static_cast<double>(sample.tick - first.tick) * slope);
  }
  return offsets;
}

std::vector<std::int64_t> UpdateSteps(const std::vector<CorrectionSample>& samples) {
  std::vector<std::int64_t> steps;
  for (std::size_t i = 1; i < samples.size(); ++i)
    steps.push_back(Difference(samples[i].time, TimeOnSegment(samples[i - 1], samples[i].tick)));
  return steps;
}

bool IsStale(double ageS, double intervalS) { return ageS > std::max(4 * intervalS, 1.0); }

namespace {

// The counter's own frequency error that a rate of `rate` units per tick corrects.
double OwnErrorPpm(double rate, double nominalRate) { return (nominalRate / rate - 1.0) * 1e6; }

}  // namespace

TrackingState Track(const std::vector<CorrectionSample>& samples, std::uint64_t frequency,
                    std::uint64_t nowTick) {
  TrackingState state;
  if (samples.empty()) return state;
  const double nominal = NominalRate(frequency);
  const double ticksPerSecond = static_cast<double>(frequency);
  const CorrectionSample& latest = samples.back();
  state.frequencyPpm = OwnErrorPpm(latest.rate, nominal);
  state.latestRatePpm = RatePpm(latest.rate, nominal);
  // The updates' pairs, newest first: each holdover sample continues its slewing sample.
  struct Pair {
    CorrectionSample slewing;
    CorrectionSample holdover;
  };
  std::vector<Pair> pairs;
  for (std::size_t i = samples.size() - 1; i >= 1; i -= 2) {
    const CorrectionSample& slewing = samples[i - 1];
    const CorrectionSample& holdover = samples[i];
    if (holdover.tick <= slewing.tick || !(slewing.rate > 0) || !(holdover.rate > 0) ||
        holdover.time != TimeOnSegment(slewing, holdover.tick))
      break;
    pairs.push_back({slewing, holdover});
    if (i < 2) break;
  }
  state.updates = pairs.size();
  const std::uint64_t updateTick = pairs.empty() ? latest.tick : pairs.front().slewing.tick;
  state.updateTime = pairs.empty() ? latest.time : pairs.front().slewing.time;
  state.lastUpdateAgeS =
      std::max<double>(0, static_cast<double>(Difference(nowTick, updateTick))) / ticksPerSecond;
  if (!pairs.empty()) {
    std::vector<double> removed;
    std::vector<double> estimates;
    for (const Pair& pair : pairs) {
      removed.push_back((pair.holdover.rate - pair.slewing.rate) *
                        static_cast<double>(pair.holdover.tick - pair.slewing.tick) * 100.0);
      estimates.push_back(OwnErrorPpm(pair.holdover.rate, nominal));
    }
    state.lastOffsetNs = removed.front();
    state.rmsOffsetNs = RootMeanSquare(removed);
    if (pairs.size() >= 2) {
      state.residualFrequencyPpm = estimates[0] - estimates[1];
      state.skewPpm = Summarise(estimates).stddev;
      state.updateIntervalS =
          static_cast<double>(pairs[0].slewing.tick - pairs[1].slewing.tick) / ticksPerSecond;
      std::vector<double> intervals;
      for (std::size_t i = 1; i < pairs.size(); ++i)
        intervals.push_back(static_cast<double>(pairs[i - 1].slewing.tick - pairs[i].slewing.tick));
      state.typicalIntervalS = Median(intervals) / ticksPerSecond;
    } else {
      // One update so far: its slewing span is at least half an interval.
      state.typicalIntervalS =
          2 * static_cast<double>(pairs[0].holdover.tick - pairs[0].slewing.tick) / ticksPerSecond;
    }
  }
  state.stale = IsStale(state.lastUpdateAgeS, state.typicalIntervalS);
  return state;
}
