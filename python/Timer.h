// SPDX-License-Identifier: MIT
// volmtime.Timer: a timer on its clock's time axis.
#ifndef PYTHON_TIMER_H
#define PYTHON_TIMER_H

#include "Object.h"

namespace VolmPython {

class Timer : public Object {
 public:
  // Takes a timer that the library made; raises VolmError with the library's text when the
  // timer has no handle (the library makes a timer even when the system refuses its
  // descriptors, and such a timer never waits).
  Timer(std::shared_ptr<Library> library, Ref<IWaitableTimer> timer);
  ~Timer() override { Close(); }
  void Close() override { timer_.Reset(); }
  [[nodiscard]] bool Closed() const override { return timer_.Get() == nullptr; }

  void SetRelative(const pybind11::object& seconds, const pybind11::object& units);
  void SetAbsolute(const pybind11::object& time);
  // Refuses a period of 0, which the library would take and never fire.
  void SetPeriodic(const pybind11::object& seconds, const pybind11::object& units);
  void Cancel();
  [[nodiscard]] VolmHandle FileNo() const;
  // True when a firing or the timeout ended the wait, False when a cancellation did.
  bool Wait(const pybind11::object& timeout);

 private:
  [[nodiscard]] IWaitableTimer* Get() const { return Open(timer_, "timer"); }
  Ref<IWaitableTimer> timer_;
};

}  // namespace VolmPython

#endif  // PYTHON_TIMER_H
