// SPDX-License-Identifier: MIT
#include "platform/linux/HandleRegistry.h"
#include "platform/ScopedHandle.h"

#include <unistd.h>

namespace VolmTime::Platform {

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

}  // namespace VolmTime::Platform
