// SPDX-License-Identifier: MIT
// The Windows loader's hook into the library. The parameter types are those of the system's
// declaration (HINSTANCE, DWORD, LPVOID, BOOL) spelled without its header, which only the
// platform layer includes.
#include "platform/ModuleLoad.h"

namespace {
constexpr unsigned long kProcessAttach = 1;  // DLL_PROCESS_ATTACH
}  // namespace

extern "C" int __stdcall DllMain(void* module, unsigned long reason, void* /*reserved*/) {
  if (reason == kProcessAttach) VolmTime::Platform::OnModuleLoaded(module);
  return 1;
}
