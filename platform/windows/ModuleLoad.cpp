// SPDX-License-Identifier: MIT
#include "platform/ModuleLoad.h"

#include <windows.h>

namespace VolmTime::Platform {

void OnModuleLoaded(void* module) noexcept {
  ::DisableThreadLibraryCalls(static_cast<HMODULE>(module));
}

}  // namespace VolmTime::Platform
