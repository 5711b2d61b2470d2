// SPDX-License-Identifier: MIT
#include "platform/Event.h"

#include "platform/Backend.h"

#include <windows.h>

namespace VolmTime::Platform {

UniqueHandle CreateAutoResetEventImpl() noexcept {
  return UniqueHandle(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

bool SetEvent(NativeHandle event) noexcept { return ::SetEvent(event) != FALSE; }

bool ResetEvent(NativeHandle event) noexcept { return ::ResetEvent(event) != FALSE; }

}  // namespace VolmTime::Platform
