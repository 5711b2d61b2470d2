#include "tools/common/Process.h"

#include <unistd.h>

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(::getpid()); }

bool StandardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }
