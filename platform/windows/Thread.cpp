// SPDX-License-Identifier: MIT
#include "platform/Thread.h"

#include <windows.h>

namespace VolmTime::Platform {

// Sleep(0) does not sleep, so there is no slack to take away.
PreciseWakeUps::PreciseWakeUps() noexcept = default;
PreciseWakeUps::~PreciseWakeUps() = default;

void PreciseWakeUps::YieldTimeSlice() noexcept { ::Sleep(0); }

}  // namespace VolmTime::Platform
