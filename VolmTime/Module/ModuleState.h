// SPDX-License-Identifier: MIT
// State the module keeps once per load: the module lock, the factory slot and the attach
// count.
#ifndef VOLMTIME_MODULE_MODULESTATE_H
#define VOLMTIME_MODULE_MODULESTATE_H

#include <cstdint>
#include <mutex>

namespace VolmTime {

class VolmTimeFactory;

// Recursive: a thread that holds it can, by releasing a named correction function, come
// back into the factory, which takes it again. It is the outermost lock of the module.
std::recursive_mutex& ModuleLock() noexcept;

// The one factory of the process, or null. Holds no reference; read and written only under
// the module lock.
VolmTimeFactory*& FactorySlot() noexcept;

void IncrementAttachCount() noexcept;
void DecrementAttachCount() noexcept;
std::int32_t GetAttachCount() noexcept;

}  // namespace VolmTime

#endif  // VOLMTIME_MODULE_MODULESTATE_H
