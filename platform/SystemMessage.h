// SPDX-License-Identifier: MIT
// Text of a system message code.
#ifndef VOLMTIME_PLATFORM_SYSTEMMESSAGE_H
#define VOLMTIME_PLATFORM_SYSTEMMESSAGE_H

#include "platform/PlatformTypes.h"

#include <cstdint>

namespace VolmTime::Platform {

// The platform's raw text for a message id, as its message table holds it (line breaks
// included). Windows asks FormatMessageW (system table, inserts ignored, neutral language,
// at most 1023 characters); Linux keeps a fixed table of the codes the module can meet.
// Returns false when the platform has no text for the id.
[[nodiscard]] bool SystemMessageText(std::uint32_t messageId, WideString& text);

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_SYSTEMMESSAGE_H
