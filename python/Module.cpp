// SPDX-License-Identifier: MIT
// The volmtime Python module: VolmTime's time base for Python scripts, every binding in one
// place. It is a host like any other: it loads the library at run time (Library.h) and
// reaches it through the public headers only.
//
// Every Python object holds its own references and gives them back on close(), at the end of
// a `with` block, when it is collected, or at the latest when the interpreter exits. The
// loaded library stays loaded while any Python object that came from it exists.
#include "Arguments.h"
#include "Failure.h"
#include "TimeBase.h"

#include <pybind11/stl.h>

namespace py = pybind11;
using namespace VolmPython;

PYBIND11_MODULE(volmtime, module) {
  module.doc() =
      "VolmTime's time base: clocks, shared correction functions and timers, from the VolmTime "
      "library loaded at run time. Times are int counts of 100-ns units.";
  module.attr("UNITS_PER_SECOND") = kUnitsPerSecond;
  module.attr("__version__") = VOLMTIME_VERSION;
  RegisterFailures(module);

  py::class_<Timer> timer(module, "Timer",
                          "A timer on its clock's time axis, armed in 100-ns units or seconds.");
  AddCloseProtocol(timer);
  timer
      .def("set_relative", &Timer::SetRelative, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(), "Fires once after a duration on the clock.")
      .def("set_absolute", &Timer::SetAbsolute, py::arg("time"),
           "Fires once when the clock reaches `time` (100-ns units of the clock).")
      .def("set_periodic", &Timer::SetPeriodic, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(),
           "Fires every period (more than 0), the first after one period.")
      .def("wait", &Timer::Wait, py::arg("timeout") = py::none(),
           "Waits for a firing (timeout in seconds, None: no limit). True after a firing or "
           "the timeout, False after a cancellation. Ctrl-C ends it and cancels the timer.")
      .def("cancel", &Timer::Cancel, "Stops the timer and releases one waiting thread.")
      .def("fileno", &Timer::FileNo,
           "The timer's descriptor, readable when it has fired (for selectors and asyncio); "
           "a wait() consumes the firing.");

  py::class_<Clock> clock(module, "Clock", "A clock: the relative, the system or a named clock.");
  AddCloseProtocol(clock);
  clock.def_property_readonly("kind", &Clock::Kind, "'relative', 'system' or 'named'.")
      .def("time", &Clock::Time, "The current time in 100-ns units from the clock's origin.")
      .def("try_time", &Clock::TryTime,
           "The current time, or None where the clock's function is not defined now.")
      .def("is_system_time", &Clock::IsSystemTime,
           "True when the clock reads the platform's system time.")
      .def("datetime", &Clock::DateTime,
           "The time as an aware UTC datetime, to the microsecond (system and named clocks).")
      .def("unix_time_ns", &Clock::UnixTimeNs,
           "The time in nanoseconds since 1970-01-01 UTC, exact: a multiple of 100 (system "
           "and named clocks).")
      .def("sleep", &Clock::Sleep, py::arg("seconds") = py::none(), py::kw_only(),
           py::arg("units") = py::none(), "Sleeps for a duration on this clock; Ctrl-C ends it.")
      .def("create_timer", &Clock::CreateTimer,
           "A new timer on this clock's time axis; VolmError when the system gave it no handle.");

  py::class_<Counter> counter(module, "Counter", "The high-resolution tick counter.");
  AddCloseProtocol(counter);
  counter.def("tick", &Counter::Tick, "The current tick.")
      .def_property_readonly("frequency", &Counter::Frequency, "Ticks per second.")
      .def_property_readonly("name", &Counter::Name, "The counter's name.");

  py::class_<Correction> correction(
      module, "Correction",
      "A piecewise-linear correction function from counter ticks to 100-ns units.");
  AddCloseProtocol(correction);
  correction
      .def("add_sample", &Correction::AddSample, py::arg("tick"), py::arg("rate"), py::arg("time"),
           "Appends a sample: at `tick` the time is `time`, then `rate` units per tick "
           "(0.0: undefined); visible after publish().")
      .def("remove_last_sample", &Correction::RemoveLastSample,
           "Withdraws the latest sample not yet published.")
      .def("publish", &Correction::Publish, "Makes the samples appended so far visible.")
      .def("reset", &Correction::Reset, "Empties the function and publishes that.")
      .def("tick_to_time", &Correction::TickToTime, py::arg("tick"))
      .def("time_to_tick", &Correction::TimeToTick, py::arg("time"))
      .def("rate", &Correction::Rate, "Units per tick now.")
      .def("sample_count", &Correction::SampleCount, "Samples held.");

  py::class_<TimeBase> base(module, "TimeBase",
                            "The library's time factory; every other object comes from it.");
  AddCloseProtocol(base);
  base.def_property_readonly("library", &TimeBase::LibraryFile, "The library file loaded.")
      .def("can_unload", &TimeBase::CanUnload,
           "True once every object of the library, from any host in this process, is released.")
      .def("relative_clock", &TimeBase::RelativeClock, "Time since the factory was made.")
      .def("system_clock", &TimeBase::SystemClock, "The platform's system time.")
      .def("named_clock", &TimeBase::NamedClock, py::arg("name"),
           "The clock that the shared correction function `name` drives.")
      .def("counter", &TimeBase::GetCounter)
      .def("counter_available", &TimeBase::CounterAvailable)
      .def("create_local_correction", &TimeBase::CreateLocalCorrection,
           "A correction function in this process's memory.")
      .def("create_shared_correction", &TimeBase::CreateSharedCorrection, py::arg("name"),
           "The writer of the shared correction function `name` (created or taken over).")
      .def("open_shared_correction", &TimeBase::OpenSharedCorrection, py::arg("name"),
           "A reader of the shared correction function `name`.")
      .def("wait_for_events", &TimeBase::WaitForEvents, py::arg("handles"),
           py::arg("wait_all") = false, py::arg("timeout") = py::none(),
           "Waits for any (or all) of the handles: ints or objects with fileno(). The index of "
           "the one that ended the wait, or None after the timeout (seconds).");

  module.def(
      "open",
      [](const std::optional<std::string>& library) {
        return std::make_unique<TimeBase>(Library::Load(library));
      },
      py::arg("library") = py::none(),
      "Loads the library (the file given, else $VOLMTIME_LIBRARY, else where it is installed or "
      "built) and opens its time factory.");

  // Whatever a script leaves open is given back before the interpreter goes.
  py::module_::import("atexit").attr("register")(py::cpp_function([] { Object::CloseAll(); }));
}
