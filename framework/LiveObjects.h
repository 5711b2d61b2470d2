// SPDX-License-Identifier: MIT
// The module's count of component objects that exist; the module may be unloaded when it
// is 0.
#ifndef FRAMEWORK_LIVEOBJECTS_H
#define FRAMEWORK_LIVEOBJECTS_H

#include <cstdint>

void IncrementLiveObjects() noexcept;
void DecrementLiveObjects() noexcept;
std::uint32_t GetLiveObjectCount() noexcept;

#endif  // FRAMEWORK_LIVEOBJECTS_H
