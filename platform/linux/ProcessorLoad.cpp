// SPDX-License-Identifier: MIT
#include "platform/linux/ProcessorLoad.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace VolmTime::Platform::Linux {

bool EveryRunnableThreadHasAProcessor() noexcept {
  // The fourth field of /proc/loadavg is "runnable/total", counted now, not averaged.
  const int file = ::open("/proc/loadavg", O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char text[128];
  const ssize_t length = ::read(file, text, sizeof text - 1);
  ::close(file);
  if (length <= 0) return false;
  text[length] = '\0';
  long runnable = 0;
  if (std::sscanf(text, "%*s %*s %*s %ld", &runnable) != 1) return false;
  return runnable <= ::sysconf(_SC_NPROCESSORS_ONLN);
}

}  // namespace VolmTime::Platform::Linux
