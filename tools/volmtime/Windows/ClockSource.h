// The system's clock source beside the benchmark numbers. Windows does not name the hardware
// behind QueryPerformanceCounter, but its frequency tells it: 3,579,545 Hz is the ACPI power
// management timer, 14,318,180 Hz the HPET, and 10 MHz most often the processor's time stamp
// counter scaled by the system (Wine gives 10 MHz too).
#ifndef TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H
#define TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H

#include <windows.h>

#include <string>

inline std::string ClockSource() {
  LARGE_INTEGER frequency;
  if (!QueryPerformanceFrequency(&frequency)) return {};
  return "QueryPerformanceCounter at " + std::to_string(frequency.QuadPart) + " Hz";
}

#endif  // TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H
