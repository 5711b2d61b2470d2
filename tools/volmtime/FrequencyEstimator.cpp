// SPDX-License-Identifier: MIT
#include "FrequencyEstimator.h"

#include "Segments.h"
#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// However long the window's time span, it keeps this many measurements, and never more than
// the most.
constexpr std::size_t kMinimumWindow = 16;
constexpr std::size_t kMaximumWindow = 4096;
// A reading more than this many times as wide as the window's median is left out of the fit.
constexpr double kWideFactor = 8;
// A reading further off the fitted line than this many standard deviations of the residuals
// (plus half its width) is left out of the fit.
constexpr double kOutlierDeviations = 6;
// Residuals are never taken as smaller than this: readings of the same nanosecond.
constexpr double kNoiseFloorNs = 1;
// A new reading at least this far off the line (and this many deviations) is held back; so
// many in a row on the same side are a step of the reference.
constexpr double kStepFloorNs = 1000;
constexpr double kStepDeviations = 20;
constexpr std::size_t kStepConfirmations = 3;
// Before a window this full, a step is not told from noise.
constexpr std::size_t kPointsToJudgeSteps = 4;
// A window that started again fits its own slope once it has this many points and knows the
// slope as well as the one carried over, or spans half the window.
constexpr std::size_t kPointsForOwnSlope = 8;

struct Point {
  double x;  // ticks after the base, at the middle of the reading
  double y;  // ns after the base
  double weight;
  double halfWidthNs;
  bool used;
};

struct Fitted {
  double offset = 0;
  double slope = 0;
  double slopeError = 0;
  std::size_t used = 0;
  bool ownSlope = false;
};

// Weighted least squares over the used points; with `slope` given, the offset alone.
Fitted Solve(const std::vector<Point>& points, std::optional<double> slope) {
  double sw = 0;
  double swx = 0;
  double swy = 0;
  Fitted fitted;
  for (const Point& p : points) {
    if (!p.used) continue;
    sw += p.weight;
    swx += p.weight * p.x;
    swy += p.weight * p.y;
    ++fitted.used;
  }
  const double meanX = swx / sw;
  const double meanY = swy / sw;
  double sxx = 0;
  double sxy = 0;
  for (const Point& p : points) {
    if (!p.used) continue;
    sxx += p.weight * (p.x - meanX) * (p.x - meanX);
    sxy += p.weight * (p.x - meanX) * (p.y - meanY);
  }
  fitted.ownSlope = !slope && fitted.used >= 2 && sxx > 0;
  fitted.slope = fitted.ownSlope ? sxy / sxx : slope.value_or(0);
  fitted.offset = meanY - fitted.slope * meanX;
  if (fitted.ownSlope && fitted.used > 2) {
    double squares = 0;
    for (const Point& p : points) {
      if (!p.used) continue;
      const double residual = p.y - fitted.offset - fitted.slope * p.x;
      squares += p.weight * residual * residual;
    }
    fitted.slopeError = std::sqrt(squares / static_cast<double>(fitted.used - 2) / sxx);
  }
  return fitted;
}

}  // namespace

double ReferenceLine::At(std::uint64_t tick) const {
  return offsetNs + nsPerTick * static_cast<double>(Difference(tick, baseTick));
}

FrequencyEstimator::FrequencyEstimator(double nominalNsPerTick, std::uint64_t windowTicks)
    : nominal_(nominalNsPerTick),
      windowTicks_(windowTicks),
      priorSlope_(nominalNsPerTick),
      priorError_(std::numeric_limits<double>::infinity()) {}

FrequencyEstimator::Fate FrequencyEstimator::Add(const Measurement& measurement) {
  if (line_ && window_.size() >= kPointsToJudgeSteps) {
    const double halfWidthNs = 0.5 * static_cast<double>(measurement.width) * line_->nsPerTick;
    const double residual =
        static_cast<double>(Difference(measurement.referenceNs, line_->baseNs)) -
        line_->At(measurement.tick) - halfWidthNs;
    const double limit = std::max(kStepFloorNs, kStepDeviations * noiseNs_) + halfWidthNs;
    if (std::abs(residual) > limit) {
      const bool above = residual > 0;
      if (above != suspectsAbove_) suspects_.clear();
      suspectsAbove_ = above;
      suspects_.push_back(measurement);
      if (suspects_.size() < kStepConfirmations) return Fate::kOutlier;
      const std::vector<Measurement> shifted = std::move(suspects_);
      suspects_.clear();
      Restart(shifted.front());
      for (std::size_t i = 1; i < shifted.size(); ++i) window_.push_back(shifted[i]);
      Fit();
      return Fate::kStep;
    }
  }
  suspects_.clear();
  window_.push_back(measurement);
  while (window_.size() > kMinimumWindow &&
         (window_.back().tick - window_.front().tick > windowTicks_ ||
          window_.size() > kMaximumWindow))
    window_.pop_front();
  Fit();
  return newestUsed_ ? Fate::kAccepted : Fate::kWide;
}

void FrequencyEstimator::Restart(const Measurement& measurement) {
  if (line_) {
    priorSlope_ = line_->nsPerTick;
    priorError_ = line_->slopeError;
    usePrior_ = true;
  }
  window_.assign(1, measurement);
  suspects_.clear();
  Fit();
}

void FrequencyEstimator::Fit() {
  const Measurement& base = window_.back();
  std::vector<double> widths;
  for (const Measurement& m : window_) widths.push_back(static_cast<double>(m.width));
  const double medianWidth = std::max(1.0, Median(widths));
  const double nsPerTick = line_ ? line_->nsPerTick : priorSlope_;
  std::vector<Point> points;
  std::size_t narrow = 0;
  for (const Measurement& m : window_) {
    const double width = static_cast<double>(m.width);
    const bool used = width <= kWideFactor * medianWidth;
    narrow += used ? 1 : 0;
    points.push_back({static_cast<double>(Difference(m.tick, base.tick)) + 0.5 * width,
                      static_cast<double>(Difference(m.referenceNs, base.referenceNs)),
                      1.0 / (width * width + medianWidth * medianWidth), 0.5 * width * nsPerTick,
                      used});
  }
  if (narrow < 2)
    for (Point& p : points) p.used = true;

  // The slope carried over a restart stands until the new window knows the slope as well.
  const auto fit = [&] {
    const Fitted own = Solve(points, std::nullopt);
    if (!usePrior_) return own.ownSlope ? own : Solve(points, priorSlope_);
    const bool longEnough =
        window_.back().tick - window_.front().tick >= windowTicks_ / 2 && own.ownSlope;
    if ((own.used >= kPointsForOwnSlope && own.ownSlope && own.slopeError <= priorError_) ||
        longEnough) {
      usePrior_ = false;
      return own;
    }
    Fitted prior = Solve(points, priorSlope_);
    prior.slopeError = priorError_;
    return prior;
  };
  Fitted fitted = fit();
  // Readings far off the line are left out, and the line fitted again without them.
  std::vector<double> residuals;
  for (const Point& p : points)
    if (p.used) residuals.push_back(std::abs(p.y - fitted.offset - fitted.slope * p.x));
  noiseNs_ = std::max(kNoiseFloorNs, 1.4826 * Median(residuals));
  std::size_t kept = 0;
  std::vector<Point> trimmed = points;
  for (Point& p : trimmed) {
    if (p.used && std::abs(p.y - fitted.offset - fitted.slope * p.x) >
                      kOutlierDeviations * noiseNs_ + p.halfWidthNs)
      p.used = false;
    kept += p.used ? 1 : 0;
  }
  if (kept >= 2 && kept < fitted.used) {
    points = std::move(trimmed);
    fitted = fit();
  }
  newestUsed_ = points.back().used;
  line_ = ReferenceLine{base.tick,    base.referenceNs,  fitted.offset,
                        fitted.slope, fitted.slopeError, fitted.used};
}
