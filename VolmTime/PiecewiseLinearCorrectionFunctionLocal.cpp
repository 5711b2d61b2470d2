// SPDX-License-Identifier: MIT
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"

#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

namespace VolmTime {

PiecewiseLinearCorrectionFunctionLocal::PiecewiseLinearCorrectionFunctionLocal()
    : PiecewiseLinearCorrectionFunction(
          std::make_unique<
              Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>>()) {}

}  // namespace VolmTime
