// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "TimeFormat.h"

#include <cstdio>

int RunNow(const ToolOptions&) {
  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IHighResolutionCounter> counter;
  Ref<IClock> relative;
  Ref<IClock> system;
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  Check(factory->GetRelativeClock(relative.Out()), factory, "GetRelativeClock");
  Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
  Ref<IVolmWideCharString> name;
  Check(counter->GetName(name.Out()), counter.Get(), "GetName");
  const VolmWideChar* buffer = nullptr;
  name->GetBuffer(&buffer);
  std::string counterName;
  for (; buffer != nullptr && *buffer != 0; ++buffer)
    counterName.push_back(static_cast<char>(*buffer));
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  std::uint64_t relativeTime = 0;
  std::uint64_t systemTime = 0;
  Check(relative->GetTime(&relativeTime), relative.Get(), "reading the relative clock");
  Check(system->GetTime(&systemTime), system.Get(), "reading the system clock");
  std::printf("counter         %s, %llu ticks per second\n", counterName.c_str(),
              static_cast<unsigned long long>(frequency));
  std::printf("relative clock  %s since the factory was made\n",
              FormatSeconds(relativeTime).c_str());
  std::printf("system clock    %s\n", FormatSystemTime(systemTime).c_str());
  return 0;
}
