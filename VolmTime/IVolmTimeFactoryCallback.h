// SPDX-License-Identifier: MIT
// How a named correction function tells the factory that it is going away, so the factory
// forgets its name. No reference counting: the factory clears every function's pointer to it
// before it is destroyed.
#ifndef VOLMTIME_IVOLMTIMEFACTORYCALLBACK_H
#define VOLMTIME_IVOLMTIMEFACTORYCALLBACK_H

#include <VolmTime/IVolmUnknown.h>

class IVolmTimeFactoryCallback {
 public:
  virtual void OnCorrectionFunctionDestroyed(IVolmUnknown* function) = 0;

 protected:
  ~IVolmTimeFactoryCallback() = default;
};

#endif  // VOLMTIME_IVOLMTIMEFACTORYCALLBACK_H
