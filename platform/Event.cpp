// SPDX-License-Identifier: MIT
#include "platform/Event.h"

#include "platform/Backend.h"
#include "platform/FaultInjection.h"

namespace VolmTime::Platform {

UniqueHandle CreateAutoResetEvent() noexcept {
  if (TakeFault(Faults().failEventCreations)) return {};
  return CreateAutoResetEventImpl();
}

}  // namespace VolmTime::Platform
