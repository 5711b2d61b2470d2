#include "VolmTime/Core/Platform/Wait.h"

#include <windows.h>

namespace VolmTime::Core::Platform {

std::uint32_t WaitForOne(NativeHandle handle, std::uint32_t timeoutMs) noexcept {
  return ::WaitForSingleObject(handle, timeoutMs);
}

std::uint32_t WaitForMany(const NativeHandle* handles, std::uint32_t count, bool waitAll,
                          std::uint32_t timeoutMs) noexcept {
  // The platform's own refusal of a null array or a count of 0 differs between versions;
  // both are refused here as a failed wait.
  if (handles == nullptr || count == 0) return kWaitFailed;
  return ::WaitForMultipleObjects(count, handles, waitAll ? TRUE : FALSE, timeoutMs);
}

}  // namespace VolmTime::Core::Platform
