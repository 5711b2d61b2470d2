// SPDX-License-Identifier: MIT
// The core view of a piecewise-linear correction function: evaluation for everyone, appending
// and publishing for its one writer. Failures throw CException.
#ifndef VOLMTIME_CORE_IPIECEWISELINEARCORRECTION_H
#define VOLMTIME_CORE_IPIECEWISELINEARCORRECTION_H

#include "VolmTime/Core/ICorrectionFunction.h"
#include "VolmTime/Core/SampleStore.h"

namespace VolmTime::Core {

template <typename Tick, typename Time>
class IPiecewiseLinearCorrection : public ICorrectionFunction<Tick, Time> {
 public:
  virtual void AddSample(const CorrectionSample& sample) = 0;
  virtual void AddSample(Tick tick, double rate, Time time) = 0;
  virtual void RemoveLastSample() = 0;
  [[nodiscard]] virtual std::uint64_t GetSampleCount() const = 0;
  virtual void Publish() = 0;
  virtual void Reset() = 0;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_IPIECEWISELINEARCORRECTION_H
