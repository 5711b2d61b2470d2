#include "platform/Thread.h"

#include <windows.h>

namespace VolmTime::Platform {

void YieldTimeSlice() noexcept { ::Sleep(0); }

// Sleep(0) does not sleep, so there is no slack to take away.
PreciseWakeUps::PreciseWakeUps() noexcept = default;
PreciseWakeUps::~PreciseWakeUps() = default;

}  // namespace VolmTime::Platform
