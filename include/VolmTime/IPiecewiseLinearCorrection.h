// SPDX-License-Identifier: MIT
// A piecewise-linear correction function that a host can also write: samples (tick, time,
// rate) appended by one writer and made visible to every reader with Publish.
#ifndef VOLMTIME_IPIECEWISELINEARCORRECTION_H
#define VOLMTIME_IPIECEWISELINEARCORRECTION_H

#include <VolmTime/ICorrectionFunction.h>

class IPiecewiseLinearCorrection : public ICorrectionFunction {
 public:
  // Appends a sample whose segment runs to the next one; rate 0.0 marks a segment on which
  // the function is not defined. Ticks and times must increase.
  virtual VolmResult AddSample(std::uint64_t tick, double rate, const std::uint64_t& time) = 0;
  // Withdraws the latest sample appended since the last committed one.
  virtual VolmResult RemoveLastSample() = 0;
  virtual VolmResult GetSampleCount(std::uint64_t* count) = 0;
  // Makes everything appended or removed so far visible to evaluation.
  virtual VolmResult Publish() = 0;
  // Empties the function and publishes that.
  virtual VolmResult Reset() = 0;

 protected:
  ~IPiecewiseLinearCorrection() = default;
};

#endif  // VOLMTIME_IPIECEWISELINEARCORRECTION_H
