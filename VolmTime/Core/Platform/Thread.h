// Scheduling helpers.
#ifndef VOLMTIME_CORE_PLATFORM_THREAD_H
#define VOLMTIME_CORE_PLATFORM_THREAD_H

namespace VolmTime::Core::Platform {

// Gives up the rest of the calling thread's time slice.
void YieldTimeSlice() noexcept;

}  // namespace VolmTime::Core::Platform

#endif  // VOLMTIME_CORE_PLATFORM_THREAD_H
