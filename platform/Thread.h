// Scheduling helpers.
#ifndef VOLMTIME_PLATFORM_THREAD_H
#define VOLMTIME_PLATFORM_THREAD_H

namespace VolmTime::Platform {

// Gives up the rest of the calling thread's time slice.
void YieldTimeSlice() noexcept;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_THREAD_H
