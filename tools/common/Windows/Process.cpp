// SPDX-License-Identifier: MIT
#include "tools/common/Process.h"

#include <windows.h>

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(::GetCurrentProcessId()); }

bool StandardOutputIsTerminal() {
  // A console answers GetConsoleMode; a file or a pipe does not.
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

// Windows does not name the hardware behind QueryPerformanceCounter, but its frequency tells
// it: 3,579,545 Hz is the ACPI power management timer, 14,318,180 Hz the HPET, and 10 MHz most
// often the processor's time stamp counter scaled by the system (Wine gives 10 MHz too).
std::string ClockSource() {
  LARGE_INTEGER frequency;
  if (!::QueryPerformanceFrequency(&frequency)) return {};
  return "QueryPerformanceCounter at " + std::to_string(frequency.QuadPart) + " Hz";
}
