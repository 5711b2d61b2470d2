// SPDX-License-Identifier: MIT
#include "platform/Backend.h"

#include <windows.h>

namespace VolmTime::Platform {

std::uint32_t WaitForManyImpl(const NativeHandle* handles, std::uint32_t count, bool waitAll,
                              std::uint32_t timeoutMs) noexcept {
  return ::WaitForMultipleObjects(count, handles, waitAll ? TRUE : FALSE, timeoutMs);
}

}  // namespace VolmTime::Platform
