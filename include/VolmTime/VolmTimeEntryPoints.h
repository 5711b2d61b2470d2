// SPDX-License-Identifier: MIT
// The library's four exported functions, by name with C linkage. A host that loads the
// library at run time looks them up by these names and calls them through these types.
#ifndef VOLMTIME_VOLMTIMEENTRYPOINTS_H
#define VOLMTIME_VOLMTIMEENTRYPOINTS_H

#include <VolmTime/VolmTypes.h>

#include <cstdint>

// Hands out the process's time factory for CLSID_VolmTimeFactory, without adding a
// reference: call AddRef to keep it and Release when done. VOLM_CLASS_E_CLASSNOTAVAILABLE
// for any other class identifier.
typedef VolmResult (*VolmCreateInstanceFunction)(const VolmId& classId, void** object);
// Announce and end a host's use of the library (counted, not otherwise consulted).
typedef void (*VolmAttachFunction)();
typedef void (*VolmDetachFunction)();
// 1 when no object of the library is alive any more, so it may be unloaded; otherwise 0.
typedef std::int32_t (*VolmCanDllUnloadFunction)();

inline constexpr const char* kVolmCreateInstanceName = "CreateInstance";
inline constexpr const char* kVolmAttachName = "Attach";
inline constexpr const char* kVolmDetachName = "Detach";
inline constexpr const char* kVolmCanDllUnloadName = "CanDllUnload";

#if defined(_WIN32)
inline constexpr const char* kVolmLibraryFileName = "VolmTime.dll";
#else
inline constexpr const char* kVolmLibraryFileName = "libVolmTime.so";
#endif

#endif  // VOLMTIME_VOLMTIMEENTRYPOINTS_H
