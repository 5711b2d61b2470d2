// SPDX-License-Identifier: MIT
// The factory's second interface: piecewise-linear correction functions a host maintains
// itself, in its own memory or in named shared memory.
#ifndef VOLMTIME_IVOLMTIMEFACTORYADVANCED_H
#define VOLMTIME_IVOLMTIMEFACTORYADVANCED_H

#include <VolmTime/IPiecewiseLinearCorrection.h>
#include <VolmTime/IVolmUnknown.h>

class IVolmTimeFactoryAdvanced : public IVolmUnknown {
 public:
  // A function in the host's own memory; the caller is its writer.
  virtual VolmResult CreateLocalCorrection(IPiecewiseLinearCorrection** function) = 0;
  // A reader of the named shared function that some writer created.
  virtual VolmResult OpenSharedMemoryCorrection(const VolmWideChar* name,
                                                IPiecewiseLinearCorrection** function) = 0;
  // The writer of the named shared function: creates it, or takes it over and resets it.
  virtual VolmResult CreateSharedMemoryCorrection(const VolmWideChar* name,
                                                  IPiecewiseLinearCorrection** function) = 0;

 protected:
  ~IVolmTimeFactoryAdvanced() = default;
};

#endif  // VOLMTIME_IVOLMTIMEFACTORYADVANCED_H
