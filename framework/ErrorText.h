// SPDX-License-Identifier: MIT
// Texts for result codes that arrive without an error object.
#ifndef FRAMEWORK_ERRORTEXT_H
#define FRAMEWORK_ERRORTEXT_H

#include "framework/WideText.h"

#include <cstdint>

// The platform's sentence for a result code, on one line; "Unknown error code" when the
// platform has none.
void GetSystemErrorText(VolmResult code, WideString& text);

// Message id under which the platform keeps the text of a result code: the low 16 bits for
// codes of the Win32 facility group 0x0008, the whole code otherwise.
std::uint32_t SystemMessageId(VolmResult code) noexcept;

// Collapses every run of line feeds, carriage returns and blanks that precedes another
// character into one blank and drops a trailing run. Tabs stay.
WideString CollapseMessageBlanks(WideStringView raw);

// Ends the text with a sentence mark and one blank; an empty text (after trailing blanks
// are trimmed) stays empty.
void TerminateSentence(WideString& text);

// The platform's sentence for `code`, then, when `sourceFile` is not null,
// "[<sourceFile>, line <line>]" after the sentence end.
void ComposeErrorText(VolmResult code, const char* sourceFile, std::int32_t line, WideString& text);

#endif  // FRAMEWORK_ERRORTEXT_H
