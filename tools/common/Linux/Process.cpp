// SPDX-License-Identifier: MIT
#include "tools/common/Process.h"

#include <unistd.h>

#include <fstream>

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(::getpid()); }

bool StandardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

std::string ClockSource() {
  std::ifstream file("/sys/devices/system/clocksource/clocksource0/current_clocksource");
  std::string name;
  std::getline(file, name);
  return name;
}
