#include "VolmTime/Core/Platform/ScopedHandle.h"

#include <windows.h>

namespace VolmTime::Core::Platform {

void CloseNativeHandle(NativeHandle handle) noexcept {
  if (handle != nullptr) ::CloseHandle(handle);
}

}  // namespace VolmTime::Core::Platform
