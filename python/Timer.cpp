// SPDX-License-Identifier: MIT
#include "Timer.h"

#include "Arguments.h"
#include "Failure.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace py = pybind11;

namespace VolmPython {

Timer::Timer(std::shared_ptr<Library> library, Ref<IWaitableTimer> timer)
    : Object(std::move(library)), timer_(std::move(timer)) {
  VolmHandle handle{};
  Check(timer_->GetHandle(&handle), timer_.Get(), "CreateTimer");
}

void Timer::SetRelative(const py::object& seconds, const py::object& units) {
  const std::uint64_t duration = Duration(seconds, units);
  IWaitableTimer* timer = Get();
  Check(timer->SetRelative(duration), timer, "SetRelative");
}

void Timer::SetAbsolute(const py::object& time) {
  const std::uint64_t due = Unsigned64(time, "time");
  IWaitableTimer* timer = Get();
  Check(timer->SetAbsolute(due), timer, "SetAbsolute");
}

void Timer::SetPeriodic(const py::object& seconds, const py::object& units) {
  const std::uint64_t period = Duration(seconds, units);
  if (period == 0) {
    const bool inUnits = !units.is_none();
    throw py::value_error(
        "the period must be more than 0: " + std::string(inUnits ? "units=" : "seconds=") +
        py::repr(inUnits ? units : seconds).cast<std::string>() + " is 0 units of 100 ns");
  }
  IWaitableTimer* timer = Get();
  Check(timer->SetPeriodic(period), timer, "SetPeriodic");
}

void Timer::Cancel() {
  IWaitableTimer* timer = Get();
  Check(timer->Cancel(), timer, "Cancel");
}

VolmHandle Timer::FileNo() const {
  VolmHandle handle{};
  IWaitableTimer* timer = Get();
  Check(timer->GetHandle(&handle), timer, "GetHandle");
  return handle;
}

// A wait longer than one slice runs on a helper thread while this thread looks for Ctrl-C;
// an interrupted wait cancels the timer to release the helper.
bool Timer::Wait(const py::object& timeout) {
  const std::uint32_t timeoutMs = TimeoutMs(timeout);
  Open(timer_, "timer");
  const Ref<IWaitableTimer> timer = timer_.Copy();  // survives a close() from another thread
  IWaitableTimer* raw = timer.Get();
  std::int32_t outcome = 0;
  if (timeoutMs <= kSliceMs) {
    VolmResult result = VOLM_S_OK;
    {
      const py::gil_scoped_release unlocked;
      result = raw->Wait(timeoutMs, &outcome);
    }
    Check(result, raw, "waiting for the timer");
    return outcome == 0;
  }
  struct Shared {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    VolmResult result = VOLM_S_OK;
    std::int32_t outcome = 0;
  };
  auto shared = std::make_shared<Shared>();
  std::thread waiter([raw, shared, timeoutMs] {
    std::int32_t waited = 0;
    const VolmResult result = raw->Wait(timeoutMs, &waited);
    const std::lock_guard lock(shared->mutex);
    shared->result = result;
    shared->outcome = waited;
    shared->finished = true;
    shared->done.notify_one();
  });
  const auto finishedWithin = [&shared](std::chrono::milliseconds slice) {
    const py::gil_scoped_release unlocked;
    std::unique_lock lock(shared->mutex);
    return shared->done.wait_for(lock, slice, [&shared] { return shared->finished; });
  };
  bool interrupted = false;
  while (!finishedWithin(std::chrono::milliseconds(kSliceMs))) {
    if (PyErr_CheckSignals() != 0) {
      interrupted = true;
      break;
    }
  }
  if (interrupted) {
    // A cancellation wakes one waiter; another thread's wait on this timer may take it, so
    // cancel again until the helper is out.
    do {
      raw->Cancel();
    } while (!finishedWithin(std::chrono::milliseconds(kSliceMs)));
  }
  {
    const py::gil_scoped_release unlocked;
    waiter.join();
  }
  if (interrupted) throw py::error_already_set();
  Check(shared->result, raw, "waiting for the timer");
  return shared->outcome == 0;
}

}  // namespace VolmPython
