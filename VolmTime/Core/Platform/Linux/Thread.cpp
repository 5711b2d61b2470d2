#include "VolmTime/Core/Platform/Thread.h"

#include <sched.h>

namespace VolmTime::Core::Platform {

void YieldTimeSlice() noexcept { ::sched_yield(); }

}  // namespace VolmTime::Core::Platform
