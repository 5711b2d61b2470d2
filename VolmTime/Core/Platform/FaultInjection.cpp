#include "VolmTime/Core/Platform/FaultInjection.h"

namespace VolmTime::Core::Platform {

namespace {
// Constant-initialised, so reading it needs no guard on the hot path.
constinit FaultInjection gFaults;
}  // namespace

FaultInjection& Faults() noexcept { return gFaults; }

}  // namespace VolmTime::Core::Platform
