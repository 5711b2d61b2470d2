// SPDX-License-Identifier: MIT
// Basic types shared by every VolmTime interface: result codes, identifiers, the 16-bit
// character and the platform handle.
//
// This header is self-contained and includes no platform header, so a host built with
// another compiler can use it as it stands.
#ifndef VOLMTIME_VOLMTYPES_H
#define VOLMTIME_VOLMTYPES_H

#include <cstdint>

// 32-bit result code in the platform's layout: the top bit set means failure.
typedef std::uint32_t VolmResult;

inline constexpr VolmResult VOLM_S_OK = 0x00000000u;
inline constexpr VolmResult VOLM_S_FALSE = 0x00000001u;
inline constexpr VolmResult VOLM_E_NOTIMPL = 0x80004001u;
inline constexpr VolmResult VOLM_E_NOINTERFACE = 0x80004002u;
inline constexpr VolmResult VOLM_E_POINTER = 0x80004003u;
inline constexpr VolmResult VOLM_E_FAIL = 0x80004005u;
inline constexpr VolmResult VOLM_CLASS_E_CLASSNOTAVAILABLE = 0x80040111u;

// Times, due times and durations are counted in 100-nanosecond units.
inline constexpr std::uint64_t VOLM_TIME_UNITS_PER_SECOND = 10'000'000u;

// Outcomes of IWaitForEvents::Wait.
inline constexpr std::uint32_t VOLM_WAIT_OBJECT_0 = 0x00000000u;
inline constexpr std::uint32_t VOLM_WAIT_ABANDONED_0 = 0x00000080u;
inline constexpr std::uint32_t VOLM_WAIT_TIMEOUT = 0x00000102u;
inline constexpr std::uint32_t VOLM_WAIT_FAILED = 0xFFFFFFFFu;
inline constexpr std::uint32_t VOLM_INFINITE = 0xFFFFFFFFu;
inline constexpr std::uint32_t VOLM_MAXIMUM_WAIT_OBJECTS = 64;

constexpr bool VolmSucceeded(VolmResult result) noexcept { return (result & 0x80000000u) == 0; }
constexpr bool VolmFailed(VolmResult result) noexcept { return !VolmSucceeded(result); }

// A 16-byte identifier. The bytes stand in the order of the hexadecimal digit pairs of the
// text form ("20589DAC-2116-..." starts with 0x20, 0x58, ...); this is not the mixed-endian
// layout of the Windows GUID structure.
struct VolmId {
  std::uint8_t bytes[16];
};

constexpr bool operator==(const VolmId& left, const VolmId& right) noexcept {
  for (int i = 0; i < 16; ++i) {
    if (left.bytes[i] != right.bytes[i]) return false;
  }
  return true;
}

#if defined(_WIN32)
// UTF-16 text character and a Win32 HANDLE.
typedef wchar_t VolmWideChar;
typedef void* VolmHandle;
#define VOLM_TEXT_(literal) L##literal
#else
// UTF-16 text character and a file descriptor (-1 for none) that poll() accepts.
typedef char16_t VolmWideChar;
typedef int VolmHandle;
#define VOLM_TEXT_(literal) u##literal
#endif
// A string literal of VolmWideChar: VOLM_TEXT("QPC timer").
#define VOLM_TEXT(literal) VOLM_TEXT_(literal)

static_assert(sizeof(VolmWideChar) == 2, "VolmTime texts are UTF-16");

#endif  // VOLMTIME_VOLMTYPES_H
