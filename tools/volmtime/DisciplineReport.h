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

#endif  // TOOLS_VOLMTIME_DISCIPLINEREPORT_H
