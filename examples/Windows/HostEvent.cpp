// SPDX-License-Identifier: MIT
#include "HostEvent.h"

#include <windows.h>

#include <stdexcept>

HostEvent::HostEvent() : handle_(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
  if (handle_ == nullptr) throw std::runtime_error("CreateEventW failed");
}

HostEvent::~HostEvent() { ::CloseHandle(handle_); }

void HostEvent::Signal() {
  if (!::SetEvent(handle_)) throw std::runtime_error("SetEvent failed");
}
