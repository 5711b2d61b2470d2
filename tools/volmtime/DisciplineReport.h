// SPDX-License-Identifier: MIT
// What `volmtime publish --report` makes of a published function and of readings of the
// function against the reference: how smooth its rate is, the largest step readers' time took
// at a join, how far it was from the reference and how far it drifted once its publisher was
// gone, each with its target.
#ifndef TOOLS_VOLMTIME_DISCIPLINEREPORT_H
#define TOOLS_VOLMTIME_DISCIPLINEREPORT_H

#include "Segments.h"

#include <cstdint>
#include <string>
#include <vector>

// The function's mean rate over each whole cell `cellTicks` wide from `fromTick` on, up to
// `toTick`: the segments' rates weighted by the ticks of the cell they cover, in ppm against
// `nominalRate`. The exact rates, not the readers' whole units, whose steps would swamp them.
std::vector<double> GridRatesPpm(const std::vector<CorrectionSample>& samples,
                                 std::uint64_t fromTick, std::uint64_t toTick,
                                 std::uint64_t cellTicks, double nominalRate);

// The largest step, either way, that readers' time takes where one sample follows another, in
// 100-ns units.
std::int64_t LargestStep(const std::vector<CorrectionSample>& samples);

// The mean distance of the updates' slewing samples (every other sample, counted back from
// the latest) in ticks, from the second update on; 0 with fewer than three updates.
double MeanUpdateInterval(const std::vector<CorrectionSample>& samples);

// The function, as readers evaluate it, minus the reference at `tick`.
struct Comparison {
  std::uint64_t tick;
  std::int64_t offsetNs;
};

struct ReportLine {
  std::string measure;
  std::string value;
  std::string target;
  bool held;
};

// The measured values as lines with their targets.
struct DisciplineMeasures {
  double intervalMs = 0;
  double rateDeviationPpm = 0;
  std::int64_t largestStepNs = 0;
  double rmsOffsetNs = 0;
  double holdoverDriftNs = 0;
  double holdoverS = 0;
  double meanIntervalMs = 0;
};
std::vector<ReportLine> JudgeDiscipline(const DisciplineMeasures& measures);

// The measures of a run, but for its settings (intervalMs, holdoverS): `samples`, all that the
// store held at its end; `tracking`, the comparisons from `startTick` while the publisher ran,
// up to `killTick`; `holdover`, those after the kill. The rate over a 100 ms grid runs from
// the first sample (or `startTick`) to the kill; the holdover drift is the largest difference
// between the mean offset of a whole second after the kill and that of the last second
// before it, since single comparisons scatter over the 100-ns unit readers see.
DisciplineMeasures MeasureDiscipline(const std::vector<CorrectionSample>& samples,
                                     const std::vector<Comparison>& tracking,
                                     const std::vector<Comparison>& holdover,
                                     std::uint64_t startTick, std::uint64_t killTick,
                                     std::uint64_t frequency);

#endif  // TOOLS_VOLMTIME_DISCIPLINEREPORT_H
