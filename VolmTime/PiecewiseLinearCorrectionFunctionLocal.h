// SPDX-License-Identifier: MIT
// A piecewise-linear correction function in the host's own memory; the host is its writer.
#ifndef VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H
#define VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H

#include "VolmTime/PiecewiseLinearCorrectionFunction.h"

namespace VolmTime {

class PiecewiseLinearCorrectionFunctionLocal : public PiecewiseLinearCorrectionFunction {
 public:
  // Allocates the store; std::bad_alloc when memory runs out.
  PiecewiseLinearCorrectionFunctionLocal();
};

}  // namespace VolmTime

#endif  // VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONLOCAL_H
