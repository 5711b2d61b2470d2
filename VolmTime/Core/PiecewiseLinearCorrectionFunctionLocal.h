// SPDX-License-Identifier: MIT
// A piecewise-linear correction function whose store lives in process memory. Always a
// writer.
#ifndef VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H
#define VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H

#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"

#include <memory>

namespace VolmTime::Core {

template <typename Tick, typename Time>
class PiecewiseLinearCorrectionFunctionLocal
    : public PiecewiseLinearCorrectionFunction<Tick, Time> {
 public:
  // Allocates the 12 MB store (std::bad_alloc when memory runs out) and publishes an empty
  // function.
  PiecewiseLinearCorrectionFunctionLocal();

 private:
  std::unique_ptr<SampleStore> ownedStore_;
};

extern template class PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H
