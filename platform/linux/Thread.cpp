#include "platform/Thread.h"

#include <sched.h>

namespace VolmTime::Platform {

void YieldTimeSlice() noexcept { ::sched_yield(); }

}  // namespace VolmTime::Platform
