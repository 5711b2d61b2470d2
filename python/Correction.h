// SPDX-License-Identifier: MIT
// volmtime.Correction: a piecewise-linear correction function, local or shared.
#ifndef PYTHON_CORRECTION_H
#define PYTHON_CORRECTION_H

#include "Object.h"

namespace VolmPython {

class Correction : public Object {
 public:
  Correction(std::shared_ptr<Library> library, Ref<IPiecewiseLinearCorrection> function)
      : Object(std::move(library)), function_(std::move(function)) {}
  ~Correction() override { Close(); }
  void Close() override { function_.Reset(); }
  [[nodiscard]] bool Closed() const override { return function_.Get() == nullptr; }

  void AddSample(const pybind11::object& tick, double rate, const pybind11::object& time);
  void RemoveLastSample();
  void Publish();
  void Reset();
  [[nodiscard]] std::uint64_t TickToTime(const pybind11::object& tick) const;
  [[nodiscard]] std::uint64_t TimeToTick(const pybind11::object& time) const;
  [[nodiscard]] double Rate() const;
  [[nodiscard]] std::uint64_t SampleCount() const;

 private:
  [[nodiscard]] IPiecewiseLinearCorrection* Get() const {
    return Open(function_, "correction function");
  }
  Ref<IPiecewiseLinearCorrection> function_;
};

}  // namespace VolmPython

#endif  // PYTHON_CORRECTION_H
