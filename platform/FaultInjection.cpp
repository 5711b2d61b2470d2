// SPDX-License-Identifier: MIT
#include "platform/FaultInjection.h"

namespace VolmTime::Platform {

namespace {
// Constant-initialised, so reading it needs no guard on the hot path.
constinit FaultInjection gFaults;
}  // namespace

FaultInjection& Faults() noexcept { return gFaults; }

}  // namespace VolmTime::Platform
