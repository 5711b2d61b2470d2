// Reading failures in tests: the text of an object's last error, and the message of the
// core exception a call throws.
#ifndef TESTS_SUPPORT_ERRORTEXTS_H
#define TESTS_SUPPORT_ERRORTEXTS_H

#include "VolmTime/Core/CException.h"
#include "framework/CVolmPtr.h"
#include "framework/WideText.h"

#include <VolmTime/IVolmUnknown.h>

#include <string>

// The last error's text as UTF-8, or "<none>".
inline std::string LastErrorText(IGetVolmError* source) {
  CVolmPtr<IVolmError> error;
  source->GetError(error.Put());
  if (!error) return "<none>";
  CVolmPtr<IVolmWideCharString> text;
  error->GetText(text.Put());
  const VolmWideChar* buffer = nullptr;
  text->GetBuffer(&buffer);
  return EncodeUtf8PerUnit(buffer);
}

// The message of the CException that `call` throws, or "" when it throws none.
template <typename Call>
std::string FailureOf(Call&& call) {
  try {
    call();
  } catch (const VolmTime::Core::CException& failure) {
    return failure.what();
  }
  return "";
}

#endif  // TESTS_SUPPORT_ERRORTEXTS_H
