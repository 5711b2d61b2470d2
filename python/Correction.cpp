// SPDX-License-Identifier: MIT
#include "Correction.h"

#include "Arguments.h"
#include "Failure.h"

namespace VolmPython {

void Correction::AddSample(const pybind11::object& tick, double rate,
                           const pybind11::object& time) {
  const std::uint64_t sampleTick = Unsigned64(tick, "tick");
  const std::uint64_t sampleTime = Unsigned64(time, "time");
  IPiecewiseLinearCorrection* function = Get();
  Check(function->AddSample(sampleTick, rate, sampleTime), function, "AddSample");
}

void Correction::RemoveLastSample() {
  IPiecewiseLinearCorrection* function = Get();
  Check(function->RemoveLastSample(), function, "RemoveLastSample");
}

void Correction::Publish() {
  IPiecewiseLinearCorrection* function = Get();
  Check(function->Publish(), function, "Publish");
}

void Correction::Reset() {
  IPiecewiseLinearCorrection* function = Get();
  Check(function->Reset(), function, "Reset");
}

std::uint64_t Correction::TickToTime(const pybind11::object& tick) const {
  const std::uint64_t value = Unsigned64(tick, "tick");
  IPiecewiseLinearCorrection* function = Get();
  std::uint64_t time = 0;
  Check(function->TickToTime(value, &time), function, "TickToTime");
  return time;
}

std::uint64_t Correction::TimeToTick(const pybind11::object& time) const {
  const std::uint64_t value = Unsigned64(time, "time");
  IPiecewiseLinearCorrection* function = Get();
  std::uint64_t tick = 0;
  Check(function->TimeToTick(value, &tick), function, "TimeToTick");
  return tick;
}

double Correction::Rate() const {
  IPiecewiseLinearCorrection* function = Get();
  double rate = 0.0;
  Check(function->GetRate(&rate), function, "GetRate");
  return rate;
}

std::uint64_t Correction::SampleCount() const {
  IPiecewiseLinearCorrection* function = Get();
  std::uint64_t count = 0;
  Check(function->GetSampleCount(&count), function, "GetSampleCount");
  return count;
}

}  // namespace VolmPython
