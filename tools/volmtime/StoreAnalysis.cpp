// SPDX-License-Identifier: MIT
#include "StoreAnalysis.h"

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

TrackingState Track(const std::vector<CorrectionSample>& samples, std::uint64_t frequency,
                    std::uint64_t nowTick) {
  TrackingState state;
  if (samples.empty()) return state;
  const double nominal = NominalRate(frequency);
  const double ticksPerSecond = static_cast<double>(frequency);
  const CorrectionSample& latest = samples.back();
  state.updates = samples.size();
  state.frequencyPpm = RatePpm(latest.rate, nominal);
  state.lastUpdateAgeS = static_cast<double>(Difference(nowTick, latest.tick)) / ticksPerSecond;
  if (samples.size() >= 2) {
    const CorrectionSample& before = samples[samples.size() - 2];
    state.frequencyChangePpm = (latest.rate - before.rate) / nominal * 1e6;
    const std::vector<std::int64_t> steps = UpdateSteps(samples);
    state.lastOffsetNs = static_cast<double>(steps.back()) * 100.0;
    double sumOfSquares = 0;
    for (const std::int64_t step : steps)
      sumOfSquares += static_cast<double>(step) * static_cast<double>(step);
    state.rmsOffsetNs = std::sqrt(sumOfSquares / static_cast<double>(steps.size())) * 100.0;
    std::vector<std::uint64_t> gaps;
    for (std::size_t i = 1; i < samples.size(); ++i)
      gaps.push_back(samples[i].tick - samples[i - 1].tick);
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2),
                     gaps.end());
    state.updateIntervalS = static_cast<double>(gaps[gaps.size() / 2]) / ticksPerSecond;
    state.stale = IsStale(state.lastUpdateAgeS, state.updateIntervalS);
  }
  return state;
}
