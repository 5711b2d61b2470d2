// SPDX-License-Identifier: MIT
#include "DisciplineReport.h"

#include "Statistics.h"
#include "StoreAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

std::vector<double> GridRatesPpm(const std::vector<CorrectionSample>& samples,
                                 std::uint64_t fromTick, std::uint64_t toTick,
                                 std::uint64_t cellTicks, double nominalRate) {
  std::vector<double> rates;
  std::size_t segment = 0;
  for (std::uint64_t cell = fromTick; cell + cellTicks <= toTick; cell += cellTicks) {
    const std::uint64_t cellEnd = cell + cellTicks;
    while (segment + 1 < samples.size() && samples[segment + 1].tick <= cell) ++segment;
    if (samples.empty() || samples[segment].tick > cell) continue;  // before the first sample
    double covered = 0;
    for (std::size_t i = segment; i < samples.size() && samples[i].tick < cellEnd; ++i) {
      const std::uint64_t from = std::max(cell, samples[i].tick);
      const std::uint64_t to =
          i + 1 < samples.size() ? std::min(cellEnd, samples[i + 1].tick) : cellEnd;
      covered += samples[i].rate * static_cast<double>(to - from);
    }
    rates.push_back(RatePpm(covered / static_cast<double>(cellTicks), nominalRate));
  }
  return rates;
}

std::int64_t LargestStep(const std::vector<CorrectionSample>& samples) {
  std::int64_t largest = 0;
  for (const std::int64_t step : UpdateSteps(samples))
    largest = std::max(largest, step < 0 ? -step : step);
  return largest;
}

double MeanUpdateInterval(const std::vector<CorrectionSample>& samples) {
  if (samples.size() < 6) return 0;
  // Slewing samples sit at the even distances from the end, counting the latest as 1. The
  // oldest update is left out: a function's first segment starts at its first reading, not
  // ahead of the counter as those of later updates do.
  const std::size_t newest = samples.size() - 2;
  const std::size_t oldest = newest % 2 + 2;
  const std::size_t intervals = (newest - oldest) / 2;
  return static_cast<double>(samples[newest].tick - samples[oldest].tick) /
         static_cast<double>(intervals);
}

namespace {

ReportLine Line(const std::string& measure, const char* format, double value,
                const std::string& target, bool held) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return {measure, text, target, held};
}

}  // namespace

std::vector<ReportLine> JudgeDiscipline(const DisciplineMeasures& m) {
  char holdover[96];
  std::snprintf(holdover, sizeof holdover,
                "holdover: drift of the offset (1 s means) in the %g s after "
                "the publisher was killed",
                m.holdoverS);
  const double intervalError = std::abs(m.meanIntervalMs / m.intervalMs - 1) * 100;
  char interval[48];
  std::snprintf(interval, sizeof interval, "within 0.1 %% of %g ms", m.intervalMs);
  return {
      Line("rate over a 100 ms grid: standard deviation", "%.4f ppm", m.rateDeviationPpm,
           "at most 0.02 ppm", m.rateDeviationPpm <= 0.02),
      Line("largest step at a join", "%.0f ns", static_cast<double>(m.largestStepNs),
           "at most 100 ns", m.largestStepNs <= 100),
      Line("RMS offset to the reference", "%.1f ns", m.rmsOffsetNs, "at most 100 ns",
           m.rmsOffsetNs <= 100),
      Line(holdover, "%.0f ns", m.holdoverDriftNs, "at most 200 ns", m.holdoverDriftNs <= 200),
      Line("mean update interval", "%.4f ms", m.meanIntervalMs, interval, intervalError <= 0.1),
  };
}

namespace {

// The mean offset of each whole second after `fromTick`.
std::vector<double> SecondMeans(const std::vector<Comparison>& comparisons, std::uint64_t fromTick,
                                std::uint64_t frequency) {
  std::vector<double> sums;
  std::vector<double> counts;
  for (const Comparison& c : comparisons) {
    const std::size_t second = (c.tick - fromTick) / frequency;
    if (second >= sums.size()) {
      sums.resize(second + 1);
      counts.resize(second + 1);
    }
    sums[second] += static_cast<double>(c.offsetNs);
    counts[second] += 1;
  }
  std::vector<double> means;
  for (std::size_t i = 0; i < sums.size(); ++i)
    if (counts[i] > 0) means.push_back(sums[i] / counts[i]);
  return means;
}

}  // namespace

DisciplineMeasures MeasureDiscipline(const std::vector<CorrectionSample>& samples,
                                     const std::vector<Comparison>& tracking,
                                     const std::vector<Comparison>& holdover,
                                     std::uint64_t startTick, std::uint64_t killTick,
                                     std::uint64_t frequency) {
  DisciplineMeasures measures;
  if (samples.empty()) return measures;
  const auto ticksPerSecond = static_cast<double>(frequency);
  measures.rateDeviationPpm =
      Summarise(GridRatesPpm(samples, std::max(startTick, samples.front().tick), killTick,
                             frequency / 10, NominalRate(frequency)))
          .stddev;
  measures.largestStepNs = LargestStep(samples) * 100;
  std::vector<double> offsets;
  std::vector<double> lastSecond;
  for (const Comparison& c : tracking) {
    offsets.push_back(static_cast<double>(c.offsetNs));
    if (static_cast<double>(killTick - c.tick) <= ticksPerSecond)
      lastSecond.push_back(offsets.back());
  }
  measures.rmsOffsetNs = RootMeanSquare(offsets);
  const double before = lastSecond.empty() ? 0 : Summarise(lastSecond).mean;
  for (const double mean : SecondMeans(holdover, killTick, frequency))
    measures.holdoverDriftNs = std::max(measures.holdoverDriftNs, std::abs(mean - before));
  measures.meanIntervalMs = MeanUpdateInterval(samples) / ticksPerSecond * 1e3;
  return measures;
}
