// SPDX-License-Identifier: MIT
// Failures of library calls, and how they reach Python: volmtime.VolmError with the result
// code, the library's text and the operation.
#ifndef PYTHON_FAILURE_H
#define PYTHON_FAILURE_H

#include <VolmTime/VolmTime.h>

#include <pybind11/pybind11.h>

#include <exception>
#include <string>

namespace VolmPython {

// A failed call into the library. The text stays UTF-16 until the interpreter's lock is held
// again.
class Failure : public std::exception {
 public:
  Failure(VolmResult code, std::string operation, std::u16string text)
      : code_(code), operation_(std::move(operation)), text_(std::move(text)) {}
  [[nodiscard]] const char* what() const noexcept override { return operation_.c_str(); }
  [[nodiscard]] VolmResult Code() const { return code_; }
  [[nodiscard]] const std::string& Operation() const { return operation_; }
  [[nodiscard]] const std::u16string& Text() const { return text_; }

 private:
  VolmResult code_;
  std::string operation_;
  std::u16string text_;
};

// Throws a Failure with the last error text of `source` when `result` is a failure. Needs no
// interpreter lock.
void Check(VolmResult result, IVolmUnknown* source, const std::string& operation);

// The text of a library string; empty for none.
std::u16string TextOf(IVolmWideCharString* string);

// Adds volmtime.VolmError to `module` and turns Failure and LibraryLoadError into Python's
// exceptions (VolmError, OSError).
void RegisterFailures(pybind11::module_& module);

}  // namespace VolmPython

#endif  // PYTHON_FAILURE_H
