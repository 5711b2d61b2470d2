// SPDX-License-Identifier: MIT
// An event the host makes with the platform's own calls (an eventfd on Linux, an event
// object on Windows), to wait for together with VolmTime's timers.
#ifndef VOLMTIME_EXAMPLES_HOSTEVENT_H
#define VOLMTIME_EXAMPLES_HOSTEVENT_H

#include <VolmTime/VolmTypes.h>

class HostEvent {
 public:
  HostEvent();  // auto-reset, not signalled
  HostEvent(const HostEvent&) = delete;
  HostEvent& operator=(const HostEvent&) = delete;
  ~HostEvent();

  [[nodiscard]] VolmHandle Handle() const noexcept { return handle_; }
  void Signal();

 private:
  VolmHandle handle_;
};

#endif  // VOLMTIME_EXAMPLES_HOSTEVENT_H
