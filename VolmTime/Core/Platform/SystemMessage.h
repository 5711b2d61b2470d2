// Text of a system message code.
#ifndef VOLMTIME_CORE_PLATFORM_SYSTEMMESSAGE_H
#define VOLMTIME_CORE_PLATFORM_SYSTEMMESSAGE_H

#include "VolmTime/Core/Platform/PlatformTypes.h"

#include <cstdint>

namespace VolmTime::Core::Platform {

// The platform's raw text for a message id, as its message table holds it (line breaks
// included). Windows asks FormatMessageW (system table, inserts ignored, neutral language,
// at most 1023 characters); Linux keeps a fixed table of the codes the module can meet.
// Returns false when the platform has no text for the id.
[[nodiscard]] bool SystemMessageText(std::uint32_t messageId, WideString& text);

}  // namespace VolmTime::Core::Platform

#endif  // VOLMTIME_CORE_PLATFORM_SYSTEMMESSAGE_H
