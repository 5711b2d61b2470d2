// The kernel's clock source, which the raw counter read and so every benchmark number depend
// on.
#ifndef TOOLS_VOLMTIME_LINUX_CLOCKSOURCE_H
#define TOOLS_VOLMTIME_LINUX_CLOCKSOURCE_H

#include <fstream>
#include <string>

// "tsc", "kvm-clock", "hpet", ...; empty when the system does not tell.
inline std::string ClockSource() {
  std::ifstream file("/sys/devices/system/clocksource/clocksource0/current_clocksource");
  std::string name;
  std::getline(file, name);
  return name;
}

#endif  // TOOLS_VOLMTIME_LINUX_CLOCKSOURCE_H
