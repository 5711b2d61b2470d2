// SPDX-License-Identifier: MIT
// How busy the machine's processors are, as a thread that is about to give up its processor
// needs to know. Private to the Linux backend.
#ifndef VOLMTIME_PLATFORM_LINUX_PROCESSORLOAD_H
#define VOLMTIME_PLATFORM_LINUX_PROCESSORLOAD_H

namespace VolmTime::Platform::Linux {

// Whether the kernel counts no more runnable threads, the caller included, than there are
// processors online: then a thread that yields has nobody to give its processor to. False
// when the count cannot be read.
bool EveryRunnableThreadHasAProcessor() noexcept;

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_PROCESSORLOAD_H
