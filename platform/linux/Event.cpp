// SPDX-License-Identifier: MIT
#include "platform/Event.h"

#include "platform/Backend.h"
#include "platform/linux/HandleRegistry.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace VolmTime::Platform {

UniqueHandle CreateAutoResetEventImpl() noexcept {
  UniqueHandle event(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!event) return {};
  try {
    Linux::RegisterHandle(event.Get(), {Linux::HandleKind::kAutoResetEvent});
  } catch (...) {
    return {};
  }
  return event;
}

bool SetEvent(NativeHandle event) noexcept {
  const std::uint64_t one = 1;
  // A counter already at its limit is signalled anyway.
  return ::write(event, &one, sizeof one) == static_cast<ssize_t>(sizeof one) || errno == EAGAIN;
}

bool ResetEvent(NativeHandle event) noexcept {
  std::uint64_t count = 0;
  return ::read(event, &count, sizeof count) == static_cast<ssize_t>(sizeof count) ||
         errno == EAGAIN;
}

}  // namespace VolmTime::Platform
