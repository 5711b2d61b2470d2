// SPDX-License-Identifier: MIT
// time = timeOffset + (tick - tickOffset) * rate: a straight line through one anchor point.
#ifndef VOLMTIME_CORE_LINEARCORRECTIONFUNCTION_H
#define VOLMTIME_CORE_LINEARCORRECTIONFUNCTION_H

#include "VolmTime/Core/ExactScaling.h"
#include "VolmTime/Core/FullRangeConversion.h"
#include "VolmTime/Core/ICorrectionFunction.h"

#include <cstdint>

namespace VolmTime::Core {

template <typename Tick, typename Time>
class LinearCorrectionFunction final : public ICorrectionFunction<Tick, Time> {
 public:
  // Nothing is validated: a zero, negative or non-finite rate gives the answers of
  // TruncateToUint64 for the resulting products.
  LinearCorrectionFunction(Tick tickOffset, double rate, Time timeOffset) noexcept
      : tickOffset_(tickOffset),
        rate_(rate),
        fixedRate_(ToFixedPoint(rate)),
        timeOffset_(timeOffset) {}

  // Differences and sums wrap modulo 2^64; products truncate toward zero.
  [[nodiscard]] Time TickToTime(Tick tick) const override {
    return timeOffset_ + ScaleTicks(tick - tickOffset_, rate_, fixedRate_);
  }
  [[nodiscard]] Tick TimeToTick(Time time) const override {
    return tickOffset_ + TruncateToUint64(ToDouble(time - timeOffset_) / rate_);
  }
  [[nodiscard]] double GetRate() const override { return rate_; }

 private:
  Tick tickOffset_;
  double rate_;
  FixedPointRate fixedRate_;
  Time timeOffset_;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_LINEARCORRECTIONFUNCTION_H
