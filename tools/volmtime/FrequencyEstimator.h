// SPDX-License-Identifier: MIT
// The counter's frequency and phase against a reference, estimated by a weighted straight-line
// fit over a window of (counter, reference) measurements rather than from one interval, so
// that the noise of single readings does not reach the rate. Readings that were wide (the
// thread lost the processor between the counter and the reference) weigh little or are left
// out, lone readings far off the line are left out, and a shift that several readings in a
// row agree on is taken as a step of the reference: the window starts again from them.
#ifndef TOOLS_VOLMTIME_FREQUENCYESTIMATOR_H
#define TOOLS_VOLMTIME_FREQUENCYESTIMATOR_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

// A reference reading taken between two counter readings `width` ticks apart.
struct Measurement {
  std::uint64_t tick = 0;
  std::uint64_t width = 0;
  std::uint64_t referenceNs = 0;  // nanoseconds since 1601-01-01
};

// The reference as a straight line over the counter: baseNs + offsetNs + nsPerTick * (tick -
// baseTick). The base is the newest measurement, so the doubles stay small.
struct ReferenceLine {
  std::uint64_t baseTick = 0;
  std::uint64_t baseNs = 0;
  double offsetNs = 0;
  double nsPerTick = 0;
  double slopeError = 0;  // standard error of nsPerTick; 0 while it comes from no fit
  std::size_t points = 0;

  // The line at `tick`, in ns after baseNs (negative before it).
  [[nodiscard]] double At(std::uint64_t tick) const;
};

class FrequencyEstimator {
 public:
  enum class Fate {
    kAccepted,  // in the window
    kWide,      // in the window, but too wide to weigh in
    kOutlier,   // off the line, alone so far: held back
    kStep,      // the latest of several readings off the line by the same amount: the window
                // starts again from them
  };

  // `nominalNsPerTick`: the slope before any fit; the window holds the measurements of the
  // last `windowTicks`, and never fewer than a minimum count.
  FrequencyEstimator(double nominalNsPerTick, std::uint64_t windowTicks);

  Fate Add(const Measurement& measurement);
  // The reference jumped: the window starts again from `measurement`, the slope is kept.
  void Restart(const Measurement& measurement);

  // Nothing before the first measurement.
  [[nodiscard]] const std::optional<ReferenceLine>& Line() const { return line_; }

 private:
  void Fit();

  double nominal_;
  std::uint64_t windowTicks_;
  std::deque<Measurement> window_;
  // Readings held back as off the line, all on one side of it.
  std::vector<Measurement> suspects_;
  bool suspectsAbove_ = false;
  bool newestUsed_ = false;
  std::optional<ReferenceLine> line_;
  // Robust standard deviation of the fit's residuals (ns).
  double noiseNs_ = 0;
  // After a restart, the slope carried over and how well it was known: it stands until the
  // new window knows the slope as well.
  double priorSlope_;
  double priorError_;
  bool usePrior_ = false;
};

#endif  // TOOLS_VOLMTIME_FREQUENCYESTIMATOR_H
