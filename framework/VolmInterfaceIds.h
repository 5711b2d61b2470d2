// SPDX-License-Identifier: MIT
// Which identifier names each interface, in one place, so that every class that answers
// QueryInterface sees all of them whatever else it includes.
#ifndef FRAMEWORK_VOLMINTERFACEIDS_H
#define FRAMEWORK_VOLMINTERFACEIDS_H

#include <VolmTime/IClock.h>
#include <VolmTime/ICorrectionFunction.h>
#include <VolmTime/IHighResolutionCounter.h>
#include <VolmTime/IPiecewiseLinearCorrection.h>
#include <VolmTime/IVolmTimeFactory.h>
#include <VolmTime/IVolmTimeFactoryAdvanced.h>
#include <VolmTime/IVolmUnknown.h>
#include <VolmTime/IWaitForEvents.h>
#include <VolmTime/IWaitableTickTimer.h>
#include <VolmTime/IWaitableTimer.h>

#include "framework/VolmIdentifiers.h"
#include "framework/VolmInterfaceTraits.h"

#define VOLM_INTERFACE_ID(Interface, field)                                   \
  template <>                                                                 \
  struct VolmInterfaceId<Interface> {                                         \
    static const VolmId& Get() noexcept { return VolmIds().field; }          \
  }

VOLM_INTERFACE_ID(IVolmError, volmError);
VOLM_INTERFACE_ID(IVolmWideCharString, volmWideCharString);
VOLM_INTERFACE_ID(IVolmTimeFactory, timeFactory);
VOLM_INTERFACE_ID(IVolmTimeFactoryAdvanced, timeFactoryAdvanced);
VOLM_INTERFACE_ID(IHighResolutionCounter, highResolutionCounter);
VOLM_INTERFACE_ID(ICorrectionFunction, correctionFunction);
VOLM_INTERFACE_ID(IPiecewiseLinearCorrection, piecewiseLinearCorrection);
VOLM_INTERFACE_ID(IClock, clock);
VOLM_INTERFACE_ID(IWaitForEvents, waitForEvents);
VOLM_INTERFACE_ID(IWaitableTickTimer, waitableTickTimer);
VOLM_INTERFACE_ID(IWaitableTimer, waitableTimer);

#undef VOLM_INTERFACE_ID

#endif  // FRAMEWORK_VOLMINTERFACEIDS_H
