// Helpers for tests inside the module: the text of an object's last error and the message
// of the core exception a call throws.
#ifndef TESTS_SUPPORT_HELPERS_H
#define TESTS_SUPPORT_HELPERS_H

#include "VolmTime/Core/CException.h"
#include "framework/CVolmPtr.h"
#include "framework/VolmIdentifiers.h"
#include "framework/WideText.h"

#include <VolmTime/IVolmUnknown.h>

#include <string>

// The last error of any component (found through IGetVolmError): its text as UTF-8, or
// "<none>"; its code, or VOLM_S_OK.
template <typename Object>
CVolmPtr<IVolmError> LastError(Object* object) {
  CVolmPtr<IGetVolmError> source;
  CVolmPtr<IVolmError> error;
  object->QueryInterface(VolmIds().getVolmError, source.PutVoid());
  source->GetError(error.Put());
  return error;
}

template <typename Object>
std::string LastErrorText(Object* object) {
  const CVolmPtr<IVolmError> error = LastError(object);
  if (!error) return "<none>";
  CVolmPtr<IVolmWideCharString> text;
  error->GetText(text.Put());
  const VolmWideChar* buffer = nullptr;
  text->GetBuffer(&buffer);
  return EncodeUtf8PerUnit(buffer);
}

template <typename Object>
VolmResult LastErrorCode(Object* object) {
  const CVolmPtr<IVolmError> error = LastError(object);
  return error ? error->GetCode() : VOLM_S_OK;
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

inline WideString Wide(const std::string& text) { return WideString(text.begin(), text.end()); }

#endif  // TESTS_SUPPORT_HELPERS_H
