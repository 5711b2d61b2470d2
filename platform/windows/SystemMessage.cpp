// SPDX-License-Identifier: MIT
#include "platform/SystemMessage.h"

#include <windows.h>

namespace VolmTime::Platform {

bool SystemMessageText(std::uint32_t messageId, WideString& text) {
  constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;  // 0x1200
  constexpr DWORD kLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT);            // 0x0800
  wchar_t buffer[1024];
  const DWORD length =
      ::FormatMessageW(kFlags, nullptr, messageId, kLanguage, buffer, 1024, nullptr);
  if (length == 0) return false;
  text.assign(buffer, length);
  return true;
}

}  // namespace VolmTime::Platform
