// SPDX-License-Identifier: MIT
// What the tool reads out of a shared function's samples: offsets, rates against the
// counter's nominal rate, update steps and the state of the discipline. Times near 1.3e17
// are never held in a double: they are differenced as integers first.
#ifndef TOOLS_VOLMTIME_STOREANALYSIS_H
#define TOOLS_VOLMTIME_STOREANALYSIS_H

#include "Segments.h"

#include <cstdint>
#include <vector>

// 100-ns units per tick at the counter's nominal frequency.
double NominalRate(std::uint64_t frequency);

// A rate's deviation from the nominal rate in parts per million.
double RatePpm(double rate, double nominalRate);

// Each sample's offset from the straight line through the first and the last sample, in
// 100-ns units.
std::vector<double> OffsetsFromLine(const std::vector<CorrectionSample>& samples);

// At each sample after the first: its time minus what the segment before gives at its tick
// (the step readers' time takes at that update), in 100-ns units.
std::vector<std::int64_t> UpdateSteps(const std::vector<CorrectionSample>& samples);

// The discipline as `chronyc tracking` describes a clock's, read back from the samples alone.
// A publisher appends two samples per update: a slewing sample and a holdover sample whose
// rate is the frequency estimate; the offset that the update removes is the difference of the
// two rates times the slewing span.
struct TrackingState {
  std::size_t updates = 0;          // updates (pairs of samples) in the window
  std::uint64_t updateTime = 0;     // the latest update's time: where its slewing sample starts
  double lastOffsetNs = 0;          // the latest update's offset: function minus reference
  double rmsOffsetNs = 0;           // root mean square of the updates' offsets
  double frequencyPpm = 0;          // the counter's own frequency error (positive: fast)
  double residualFrequencyPpm = 0;  // the latest estimate against the one before it
  double skewPpm = 0;               // standard deviation of the estimates in the window
  double latestRatePpm = 0;         // the latest segment's rate against the nominal rate
  double updateIntervalS = 0;       // between the last two updates
  double typicalIntervalS = 0;      // the median interval, which staleness is judged by
  double lastUpdateAgeS = 0;        // since the latest update
  bool stale = false;               // no update for four typical intervals (at least 1 s)
};

// `samples` oldest first (at least one); `nowTick` a counter reading taken now.
TrackingState Track(const std::vector<CorrectionSample>& samples, std::uint64_t frequency,
                    std::uint64_t nowTick);

// Whether an update `ageS` old is overdue for a publisher updating every `intervalS`.
bool IsStale(double ageS, double intervalS);

#endif  // TOOLS_VOLMTIME_STOREANALYSIS_H
