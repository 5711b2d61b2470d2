// SPDX-License-Identifier: MIT
#include "platform/Wait.h"

#include "platform/Backend.h"

namespace VolmTime::Platform {

std::uint32_t WaitForMany(const NativeHandle* handles, std::uint32_t count, bool waitAll,
                          std::uint32_t timeoutMs) noexcept {
  // Refused alike on both platforms; Windows' own answers to these differ between versions.
  if (handles == nullptr || count == 0 || count > kMaximumWaitObjects) return kWaitFailed;
  return WaitForManyImpl(handles, count, waitAll, timeoutMs);
}

std::uint32_t WaitForOne(NativeHandle handle, std::uint32_t timeoutMs) noexcept {
  return WaitForMany(&handle, 1, false, timeoutMs);
}

}  // namespace VolmTime::Platform
