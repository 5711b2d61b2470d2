// An event a host makes with the platform's own calls (eventfd on Linux, CreateEventW on
// Windows), to hand to the library's waits next to the library's own handles.
#ifndef TESTS_SUPPORT_HOSTEVENT_H
#define TESTS_SUPPORT_HOSTEVENT_H

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

#endif  // TESTS_SUPPORT_HOSTEVENT_H
