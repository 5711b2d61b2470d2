// SPDX-License-Identifier: MIT
// The module's own view of a piecewise-linear function component: the public interface,
// and the correction function view that carries the core function.
#ifndef VOLMTIME_IPIECEWISELINEARCORRECTION2_H
#define VOLMTIME_IPIECEWISELINEARCORRECTION2_H

#include <VolmTime/IPiecewiseLinearCorrection.h>

#include "VolmTime/ICorrectionFunction2.h"

class IPiecewiseLinearCorrection2 : public IPiecewiseLinearCorrection,
                                    public ICorrectionFunction2 {};

// Two IVolmUnknown bases: the object's identity is the head of the IPiecewiseLinearCorrection
// table.
template <>
struct VolmPrimaryUnknown<IPiecewiseLinearCorrection2> {
  static IVolmUnknown* Of(IPiecewiseLinearCorrection2* object) noexcept {
    return static_cast<IPiecewiseLinearCorrection*>(object);
  }
};

#endif  // VOLMTIME_IPIECEWISELINEARCORRECTION2_H
