// SPDX-License-Identifier: MIT
// Everything a host needs: include this one header.
#ifndef VOLMTIME_VOLMTIME_H
#define VOLMTIME_VOLMTIME_H

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
#include <VolmTime/VolmIds.h>
#include <VolmTime/VolmTimeEntryPoints.h>
#include <VolmTime/VolmTypes.h>

#endif  // VOLMTIME_VOLMTIME_H
