// SPDX-License-Identifier: MIT
// What the exported entry points do, kept apart from the exports so tests can call it.
#ifndef VOLMTIME_MODULE_MODULEENTRY_H
#define VOLMTIME_MODULE_MODULEENTRY_H

#include <VolmTime/VolmTypes.h>

#include <cstdint>

namespace VolmTime {

// The process's factory for the factory's class identifier, built on first use and rebuilt
// once the previous one is on its way out. No reference is added. A failure to build the
// factory leaves as the exception that caused it, with the module lock released and nothing
// recorded.
VolmResult CreateFactoryInstance(const VolmId& classId, void** object);

// 1 when no component object of the module exists, otherwise 0.
std::int32_t CanUnloadModule() noexcept;

}  // namespace VolmTime

#endif  // VOLMTIME_MODULE_MODULEENTRY_H
