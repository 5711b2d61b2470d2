// Facts about the running process that a host prints or decides on.
#ifndef TOOLS_COMMON_PROCESS_H
#define TOOLS_COMMON_PROCESS_H

#include <cstdint>

// The system's id of this process.
std::uint32_t CurrentProcessId();

// Whether standard output goes to a terminal (not a file or a pipe).
bool StandardOutputIsTerminal();

#endif  // TOOLS_COMMON_PROCESS_H
