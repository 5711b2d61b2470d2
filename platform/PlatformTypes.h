// SPDX-License-Identifier: MIT
// Types and constants of the platform layer. Nothing above the platform layer includes a
// platform header; it uses these names instead.
#ifndef VOLMTIME_PLATFORM_PLATFORMTYPES_H
#define VOLMTIME_PLATFORM_PLATFORMTYPES_H

#include <VolmTime/VolmTypes.h>

#include <cstdint>
#include <string>

namespace VolmTime::Platform {

// A Win32 HANDLE on Windows, a file descriptor on Linux.
using NativeHandle = VolmHandle;

#if defined(_WIN32)
inline const NativeHandle kNoHandle = nullptr;
#else
inline constexpr NativeHandle kNoHandle = -1;
#endif

// 16-bit text as the module keeps it on every platform.
using WideString = std::basic_string<VolmWideChar>;

// Outcomes of a wait, with the values of the Win32 wait functions on both platforms.
inline constexpr std::uint32_t kWaitObject0 = VOLM_WAIT_OBJECT_0;
inline constexpr std::uint32_t kWaitAbandoned0 = VOLM_WAIT_ABANDONED_0;
inline constexpr std::uint32_t kWaitTimeout = VOLM_WAIT_TIMEOUT;
inline constexpr std::uint32_t kWaitFailed = VOLM_WAIT_FAILED;
// A timeout that never elapses.
inline constexpr std::uint32_t kInfinite = VOLM_INFINITE;
// The most handles one wait accepts.
inline constexpr std::uint32_t kMaximumWaitObjects = VOLM_MAXIMUM_WAIT_OBJECTS;

// 100-nanosecond units per second: the unit of time, due times and system time.
inline constexpr std::uint64_t kTimeUnitsPerSecond = VOLM_TIME_UNITS_PER_SECOND;

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_PLATFORMTYPES_H
