#include "tools/common/Process.h"

#include <windows.h>

std::uint32_t CurrentProcessId() { return static_cast<std::uint32_t>(::GetCurrentProcessId()); }

bool StandardOutputIsTerminal() {
  // A console answers GetConsoleMode; a file or a pipe does not.
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}
