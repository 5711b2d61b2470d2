// SPDX-License-Identifier: MIT
#include "HostEvent.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

HostEvent::HostEvent() : handle_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (handle_ < 0) throw std::runtime_error("eventfd failed");
}

HostEvent::~HostEvent() { ::close(handle_); }

void HostEvent::Signal() {
  const std::uint64_t one = 1;
  if (::write(handle_, &one, sizeof one) != static_cast<ssize_t>(sizeof one))
    throw std::runtime_error("writing to the eventfd failed");
}
