// SPDX-License-Identifier: MIT
// Told when a correction function is being destroyed, before it releases anything.
#ifndef VOLMTIME_CORE_ICORRECTIONFUNCTIONEVENTSLISTENER_H
#define VOLMTIME_CORE_ICORRECTIONFUNCTIONEVENTSLISTENER_H

#include "VolmTime/Core/IPiecewiseLinearCorrection.h"

namespace VolmTime::Core {

template <typename Tick, typename Time>
class ICorrectionFunctionEventsListener {
 public:
  virtual ~ICorrectionFunctionEventsListener() = default;
  virtual void OnCorrectionFunctionDestroyed(IPiecewiseLinearCorrection<Tick, Time>* function) = 0;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_ICORRECTIONFUNCTIONEVENTSLISTENER_H
