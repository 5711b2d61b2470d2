// SPDX-License-Identifier: MIT
// The error object: a result code and its text, fixed at construction.
#ifndef FRAMEWORK_CVOLMERROR_H
#define FRAMEWORK_CVOLMERROR_H

#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"
#include "framework/CVolmWideCharString.h"
#include "framework/WideText.h"

class CVolmError : public CVolmUnknownImpl1<IVolmError> {
 public:
  CVolmError(VolmResult code, WideStringView text);
  // A copy of another error's code and text; VOLM_E_FAIL with "Undefined Error" when
  // `source` is null.
  explicit CVolmError(IVolmError* source);

  VolmResult GetCode() override;
  VolmResult GetText(IVolmWideCharString** text) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  VolmResult code_;
  CVolmPtr<CVolmWideCharString> text_;
};

// Copies the code and text of any error object, for code that holds texts by value.
void ReadVolmError(IVolmError* error, VolmResult& code, WideString& text);

#endif  // FRAMEWORK_CVOLMERROR_H
