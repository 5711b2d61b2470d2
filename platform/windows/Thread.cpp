#include "platform/Thread.h"

#include <windows.h>

namespace VolmTime::Platform {

void YieldTimeSlice() noexcept { ::Sleep(0); }

}  // namespace VolmTime::Platform
