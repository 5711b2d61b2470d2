// SPDX-License-Identifier: MIT
// volmtime.Clock: the relative clock, the system clock or a named clock.
#ifndef PYTHON_CLOCK_H
#define PYTHON_CLOCK_H

#include "Object.h"
#include "Timer.h"

#include <optional>

namespace VolmPython {

class Clock : public Object {
 public:
  Clock(std::shared_ptr<Library> library, Ref<IClock> clock, std::string kind)
      : Object(std::move(library)), clock_(std::move(clock)), kind_(std::move(kind)) {}
  ~Clock() override { Close(); }
  void Close() override { clock_.Reset(); }
  [[nodiscard]] bool Closed() const override { return clock_.Get() == nullptr; }
  [[nodiscard]] const std::string& Kind() const { return kind_; }

  [[nodiscard]] std::uint64_t Time() const;
  [[nodiscard]] std::optional<std::uint64_t> TryTime() const;
  [[nodiscard]] bool IsSystemTime() const;
  // The system clock and named clocks count 100-ns units since 1601-01-01 UTC; the relative
  // clock counts from the factory's start and has no calendar date (ValueError).
  // An aware UTC datetime, to the microsecond that datetime holds.
  [[nodiscard]] pybind11::object DateTime() const;
  // Nanoseconds since 1970-01-01 UTC, exact: the time's 100-ns units times 100.
  [[nodiscard]] pybind11::int_ UnixTimeNs() const;
  // Sleeps on this clock's time axis, in slices so that Ctrl-C ends a long sleep.
  void Sleep(const pybind11::object& seconds, const pybind11::object& units);
  [[nodiscard]] std::unique_ptr<Timer> CreateTimer() const;

 private:
  [[nodiscard]] IClock* Get() const { return Open(clock_, "clock"); }
  // The time since 1970 in 100-ns units, a Python int (a time before 1970 is negative).
  [[nodiscard]] pybind11::int_ SinceUnixEpoch() const;
  Ref<IClock> clock_;
  std::string kind_;
};

}  // namespace VolmPython

#endif  // PYTHON_CLOCK_H
