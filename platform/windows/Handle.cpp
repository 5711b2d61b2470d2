// SPDX-License-Identifier: MIT
#include "platform/ScopedHandle.h"

#include <windows.h>

namespace VolmTime::Platform {

void CloseNativeHandle(NativeHandle handle) noexcept {
  if (handle != nullptr) ::CloseHandle(handle);
}

}  // namespace VolmTime::Platform
