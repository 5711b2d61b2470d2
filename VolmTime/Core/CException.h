// SPDX-License-Identifier: MIT
// The exception that the core classes throw: a wide message and its UTF-8 form for what().
#ifndef VOLMTIME_CORE_CEXCEPTION_H
#define VOLMTIME_CORE_CEXCEPTION_H

#include "framework/WideText.h"

#include <exception>
#include <string>

namespace VolmTime::Core {

class CException : public std::exception {
 public:
  explicit CException(WideStringView message);

  // The message as UTF-8, each 16-bit unit encoded on its own.
  [[nodiscard]] const char* what() const noexcept override { return narrow_.c_str(); }
  [[nodiscard]] const WideString& Message() const noexcept { return message_; }

 private:
  WideString message_;
  std::string narrow_;
};

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_CEXCEPTION_H
