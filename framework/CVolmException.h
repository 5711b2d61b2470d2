// SPDX-License-Identifier: MIT
// The exception that carries a failure between component objects inside one operation.
#ifndef FRAMEWORK_CVOLMEXCEPTION_H
#define FRAMEWORK_CVOLMEXCEPTION_H

#include <VolmTime/IVolmUnknown.h>

#include "framework/WideText.h"

class CVolmError;

// Thrown by value and caught only as CVolmException; deliberately not a std::exception, so
// it never mixes with the core's exceptions.
class CVolmException {
 public:
  CVolmException(VolmResult code, WideStringView message);
  // A copy of an error object's code and text (VOLM_E_FAIL, "Undefined Error" for null).
  explicit CVolmException(IVolmError* error);

  // A new error object (reference count 0) with this exception's code and message.
  [[nodiscard]] CVolmError* CreateError() const;

  [[nodiscard]] VolmResult Code() const noexcept { return code_; }
  [[nodiscard]] const WideString& Message() const noexcept { return message_; }

 private:
  VolmResult code_;
  WideString message_;
};

#endif  // FRAMEWORK_CVOLMEXCEPTION_H
