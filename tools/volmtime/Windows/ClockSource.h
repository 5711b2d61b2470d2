// The system's clock source beside the benchmark numbers: Windows does not name the hardware
// behind QueryPerformanceCounter.
#ifndef TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H
#define TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H

#include <string>

inline std::string ClockSource() { return {}; }

#endif  // TOOLS_VOLMTIME_WINDOWS_CLOCKSOURCE_H
