// SPDX-License-Identifier: MIT
// Conversions between the module's 16-bit texts and byte strings.
#ifndef FRAMEWORK_WIDETEXT_H
#define FRAMEWORK_WIDETEXT_H

#include <VolmTime/VolmTypes.h>

#include <string>
#include <string_view>

using WideString = std::basic_string<VolmWideChar>;
using WideStringView = std::basic_string_view<VolmWideChar>;

// Each byte becomes one 16-bit character of the same value (ASCII stays ASCII).
WideString WidenBytes(std::string_view bytes);

// Each 16-bit character becomes one byte: its low 8 bits.
std::string NarrowToLowBytes(WideStringView text);

// UTF-8 with every 16-bit unit encoded on its own (1 to 3 bytes), so a surrogate pair becomes
// two three-byte sequences. Never fails.
std::string EncodeUtf8PerUnit(WideStringView text);

// Decimal digits of a signed number.
WideString WideDecimal(long long value);

#endif  // FRAMEWORK_WIDETEXT_H
