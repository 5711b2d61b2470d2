#include "VolmTime/Core/Platform/Thread.h"

#include <windows.h>

namespace VolmTime::Core::Platform {

void YieldTimeSlice() noexcept { ::Sleep(0); }

}  // namespace VolmTime::Core::Platform
