// SPDX-License-Identifier: MIT
#include "framework/CVolmException.h"

#include "framework/CVolmError.h"

CVolmException::CVolmException(VolmResult code, WideStringView message)
    : code_(code), message_(message) {}

CVolmException::CVolmException(IVolmError* error)
    : code_(VOLM_E_FAIL), message_(VOLM_TEXT("Undefined Error")) {
  if (error != nullptr) ReadVolmError(error, code_, message_);
}

CVolmError* CVolmException::CreateError() const { return new CVolmError(code_, message_); }
