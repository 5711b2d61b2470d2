// Test helpers for the module's 16-bit texts.
#ifndef TESTS_FRAMEWORK_WIDETEXTHELPERS_H
#define TESTS_FRAMEWORK_WIDETEXTHELPERS_H

#include "framework/CVolmPtr.h"
#include "framework/WideText.h"

#include <VolmTime/IVolmUnknown.h>

#include <string>

// The text as UTF-8, for readable assertion messages.
inline std::string Utf8(WideStringView text) { return EncodeUtf8PerUnit(text); }

inline std::string TextOf(IVolmError* error) {
  CVolmPtr<IVolmWideCharString> text;
  if (error->GetText(text.Put()) != VOLM_S_OK || !text) return "<no text>";
  const VolmWideChar* buffer = nullptr;
  text->GetBuffer(&buffer);
  return Utf8(buffer);
}

#endif  // TESTS_FRAMEWORK_WIDETEXTHELPERS_H
