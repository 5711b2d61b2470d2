// SPDX-License-Identifier: MIT
// An owned file descriptor that is not a platform handle (no timer or event behind it):
// closing it is a plain close. Private to the Linux backend.
#ifndef VOLMTIME_PLATFORM_LINUX_FILEDESCRIPTOR_H
#define VOLMTIME_PLATFORM_LINUX_FILEDESCRIPTOR_H

#include "platform/ScopedHandle.h"

#include <unistd.h>

namespace VolmTime::Platform::Linux {

struct FileDescriptorTraits {
  using Value = int;
  static Value Invalid() noexcept { return -1; }
  static bool IsValid(Value value) noexcept { return value >= 0; }
  static void Close(Value value) noexcept { ::close(value); }
};

using FileDescriptor = ScopedHandle<FileDescriptorTraits>;

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_FILEDESCRIPTOR_H
