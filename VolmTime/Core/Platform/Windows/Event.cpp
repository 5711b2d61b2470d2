#include "VolmTime/Core/Platform/Event.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <windows.h>

namespace VolmTime::Core::Platform {

UniqueHandle CreateAutoResetEvent() noexcept {
  if (TakeFault(Faults().failEventCreations)) return {};
  return UniqueHandle(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

bool SetEvent(NativeHandle event) noexcept { return ::SetEvent(event) != FALSE; }

bool ResetEvent(NativeHandle event) noexcept { return ::ResetEvent(event) != FALSE; }

}  // namespace VolmTime::Core::Platform
