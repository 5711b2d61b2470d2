// SPDX-License-Identifier: MIT
// The four entry points as functions, for a host that links the library (VolmTime::VolmTime,
// -lVolmTime) instead of loading it at run time. VolmTime.h leaves this header out on
// purpose: a host that loads the library must not need its import library or link name.
#ifndef VOLMTIME_VOLMTIMELINKED_H
#define VOLMTIME_VOLMTIMELINKED_H

#include <VolmTime/VolmTimeEntryPoints.h>

#include <cstdint>
#include <type_traits>

#if defined(_WIN32)
#define VOLMTIME_IMPORT __declspec(dllimport)
#else
#define VOLMTIME_IMPORT
#endif

extern "C" {
VOLMTIME_IMPORT VolmResult CreateInstance(const VolmId& classId, void** object);
VOLMTIME_IMPORT void Attach();
VOLMTIME_IMPORT void Detach();
VOLMTIME_IMPORT std::int32_t CanDllUnload();
}

// The same functions a host that loads the library looks up by name.
static_assert(std::is_same_v<decltype(&CreateInstance), VolmCreateInstanceFunction>);
static_assert(std::is_same_v<decltype(&Attach), VolmAttachFunction>);
static_assert(std::is_same_v<decltype(&Detach), VolmDetachFunction>);
static_assert(std::is_same_v<decltype(&CanDllUnload), VolmCanDllUnloadFunction>);

#endif  // VOLMTIME_VOLMTIMELINKED_H
