// SPDX-License-Identifier: MIT
#include "Counter.h"

#include "Failure.h"
#include "Text.h"

namespace VolmPython {

std::uint64_t Counter::Tick() const {
  IHighResolutionCounter* counter = Get();
  std::uint64_t tick = 0;
  Check(counter->GetTick(&tick), counter, "GetTick");
  return tick;
}

std::uint64_t Counter::Frequency() const {
  IHighResolutionCounter* counter = Get();
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter, "GetFrequency");
  return frequency;
}

pybind11::str Counter::Name() const {
  IHighResolutionCounter* counter = Get();
  Ref<IVolmWideCharString> name;
  Check(counter->GetName(name.Out()), counter, "GetName");
  return FromUtf16(TextOf(name.Get()));
}

}  // namespace VolmPython
