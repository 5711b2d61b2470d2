// SPDX-License-Identifier: MIT
// The module's own view of a counter component: the public interface plus its core counter.
#ifndef VOLMTIME_IHIGHRESOLUTIONCOUNTER2_H
#define VOLMTIME_IHIGHRESOLUTIONCOUNTER2_H

#include <VolmTime/IHighResolutionCounter.h>

#include "VolmTime/Core/IHighResolutionCounter.h"
#include "framework/VolmIdentifiers.h"
#include "framework/VolmInterfaceIds.h"

class IHighResolutionCounter2 : public IHighResolutionCounter {
 public:
  virtual ~IHighResolutionCounter2() = default;
  // The core counter, without a reference: valid while the component lives.
  virtual VolmResult GetCoreCounter(VolmTime::Core::IHighResolutionCounter** core) = 0;
};

#endif  // VOLMTIME_IHIGHRESOLUTIONCOUNTER2_H
