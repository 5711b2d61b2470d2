// SPDX-License-Identifier: MIT
#include "Clock.h"

#include "Arguments.h"
#include "Failure.h"

#include <algorithm>

namespace py = pybind11;

namespace VolmPython {
namespace {

constexpr std::uint64_t kUnixEpochUnits = 116'444'736'000'000'000ULL;

}  // namespace

std::uint64_t Clock::Time() const {
  IClock* clock = Get();
  std::uint64_t time = 0;
  Check(clock->GetTime(&time), clock, "reading the " + kind_ + " clock");
  return time;
}

std::optional<std::uint64_t> Clock::TryTime() const {
  IClock* clock = Get();
  bool valid = false;
  std::uint64_t time = 0;
  Check(clock->TryGetTime(&valid, &time), clock, "reading the " + kind_ + " clock");
  if (!valid) return std::nullopt;
  return time;
}

bool Clock::IsSystemTime() const {
  IClock* clock = Get();
  bool system = false;
  Check(clock->IsSystemTime(&system), clock, "IsSystemTime");
  return system;
}

py::int_ Clock::SinceUnixEpoch() const {
  if (kind_ == "relative")
    throw py::value_error("the relative clock counts from the factory's start, not a date");
  return py::int_(py::int_(Time()) - py::int_(kUnixEpochUnits));
}

py::object Clock::DateTime() const {
  const py::module_ datetime = py::module_::import("datetime");
  const py::object utc = datetime.attr("timezone").attr("utc");
  const py::object epoch = datetime.attr("datetime")(1970, 1, 1, py::arg("tzinfo") = utc);
  // Whole microseconds, towards the past.
  const py::object microseconds = SinceUnixEpoch().attr("__floordiv__")(10);
  return epoch + datetime.attr("timedelta")(py::arg("microseconds") = microseconds);
}

py::int_ Clock::UnixTimeNs() const { return py::int_(SinceUnixEpoch() * py::int_(100)); }

void Clock::Sleep(const py::object& seconds, const py::object& units) {
  const std::uint64_t duration = Duration(seconds, units);
  Open(clock_, "clock");
  const Ref<IClock> clock = clock_.Copy();
  IClock* raw = clock.Get();
  const auto sleep = [raw, this](std::uint64_t chunk) {
    VolmResult result = VOLM_S_OK;
    {
      const py::gil_scoped_release unlocked;
      result = raw->SleepTime(chunk);
    }
    Check(result, raw, "sleeping on the " + kind_ + " clock");
  };
  if (duration <= kSliceUnits) {
    sleep(duration);
    return;
  }
  std::uint64_t start = 0;
  Check(raw->GetTime(&start), raw, "reading the " + kind_ + " clock");
  for (;;) {
    std::uint64_t now = 0;
    Check(raw->GetTime(&now), raw, "reading the " + kind_ + " clock");
    const std::uint64_t elapsed = now >= start ? now - start : 0;
    if (elapsed >= duration) return;
    sleep(std::min(duration - elapsed, kSliceUnits));
    CheckSignals();
  }
}

std::unique_ptr<Timer> Clock::CreateTimer() const {
  IClock* clock = Get();
  Ref<IWaitableTimer> timer;
  Check(clock->CreateTimer(timer.Out()), clock, "CreateTimer");
  return std::make_unique<Timer>(TheLibrary(), std::move(timer));
}

}  // namespace VolmPython
