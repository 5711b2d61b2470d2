// SPDX-License-Identifier: MIT
// Facts about the running process and its machine that a host prints or decides on.
#ifndef TOOLS_COMMON_PROCESS_H
#define TOOLS_COMMON_PROCESS_H

#include <cstdint>
#include <string>

// The system's id of this process.
std::uint32_t CurrentProcessId();

// Whether standard output goes to a terminal (not a file or a pipe).
bool StandardOutputIsTerminal();

// The system's clock source, which the cost of a counter read depends on: the kernel's name
// for it on Linux ("tsc", "kvm-clock", ...), QueryPerformanceCounter and its frequency on
// Windows. Empty when the system does not tell.
std::string ClockSource();

#endif  // TOOLS_COMMON_PROCESS_H
