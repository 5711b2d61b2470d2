// SPDX-License-Identifier: MIT
// The time factory: the one object a host obtains from the library.
#ifndef VOLMTIME_IVOLMTIMEFACTORY_H
#define VOLMTIME_IVOLMTIMEFACTORY_H

#include <VolmTime/IClock.h>
#include <VolmTime/IHighResolutionCounter.h>
#include <VolmTime/IVolmUnknown.h>
#include <VolmTime/IWaitForEvents.h>

class IVolmTimeFactory : public IVolmUnknown {
 public:
  virtual VolmResult GetCounter(IHighResolutionCounter** counter) = 0;
  virtual VolmResult GetRelativeClock(IClock** clock) = 0;
  virtual VolmResult GetSystemClock(IClock** clock) = 0;
  virtual VolmResult IsCounterAvailable(bool* available) = 0;
  virtual VolmResult CreateSynchronizedClock(const VolmWideChar* name, IClock** clock) = 0;
  virtual VolmResult CreateWaitForEvents(IWaitForEvents** waiter) = 0;

 protected:
  ~IVolmTimeFactory() = default;
};

#endif  // VOLMTIME_IVOLMTIMEFACTORY_H
