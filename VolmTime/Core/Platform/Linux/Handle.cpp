#include "VolmTime/Core/Platform/Linux/HandleRegistry.h"
#include "VolmTime/Core/Platform/ScopedHandle.h"

#include <unistd.h>

namespace VolmTime::Core::Platform {

void CloseNativeHandle(NativeHandle handle) noexcept {
  if (handle < 0) return;
  try {
    if (const auto entry = Linux::UnregisterHandle(handle)) {
      for (const int inner : {entry->monotonicTimer, entry->realtimeTimer, entry->keptFiring}) {
        if (inner >= 0) ::close(inner);
      }
    }
  } catch (...) {
    // The registry could not be consulted (out of memory); the handle itself still closes.
  }
  ::close(handle);
}

}  // namespace VolmTime::Core::Platform
