// SPDX-License-Identifier: MIT
#include "Failure.h"

#include "Text.h"
#include "tools/common/LoadedLibrary.h"
#include "tools/common/Ref.h"

#include <cstdio>

namespace py = pybind11;

namespace VolmPython {
namespace {

PyObject* volmErrorType = nullptr;

void RaiseVolmError(const Failure& failure) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(failure.Code()));
  const py::str text = FromUtf16(failure.Text());
  std::string message = failure.Operation() + " failed (" + code + ")";
  if (!failure.Text().empty()) message += ": " + text.cast<std::string>();
  const py::object error = py::reinterpret_borrow<py::object>(volmErrorType)(message);
  error.attr("code") = failure.Code();
  error.attr("text") = text;
  error.attr("operation") = failure.Operation();
  PyErr_SetObject(volmErrorType, error.ptr());
}

}  // namespace

std::u16string TextOf(IVolmWideCharString* string) {
  const VolmWideChar* buffer = nullptr;
  std::uint32_t length = 0;
  if (string == nullptr || string->GetBuffer(&buffer) != VOLM_S_OK || buffer == nullptr ||
      string->GetLength(&length) != VOLM_S_OK)
    return {};
  return {buffer, buffer + length};
}

void Check(VolmResult result, IVolmUnknown* source, const std::string& operation) {
  if (VolmSucceeded(result)) return;
  std::u16string text;
  Ref<IGetVolmError> errors;
  if (source != nullptr &&
      source->QueryInterface(IID_IGetVolmError, errors.OutVoid()) == VOLM_S_OK) {
    Ref<IVolmError> error;
    errors->GetError(error.Out());
    if (error.Get() != nullptr) {
      Ref<IVolmWideCharString> message;
      error->GetText(message.Out());
      text = TextOf(message.Get());
    }
  }
  throw Failure(result, operation, std::move(text));
}

void RegisterFailures(py::module_& module) {
  volmErrorType = PyErr_NewExceptionWithDoc(
      "volmtime.VolmError",
      "A VolmTime operation failed: `code` is its result code, `text` the library's text and "
      "`operation` what was being done.",
      PyExc_Exception, nullptr);
  if (volmErrorType == nullptr) throw py::error_already_set();
  module.attr("VolmError") = py::reinterpret_borrow<py::object>(volmErrorType);
  py::register_exception_translator([](std::exception_ptr failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const Failure& error) {
      RaiseVolmError(error);
    } catch (const LibraryLoadError& error) {
      PyErr_SetString(PyExc_OSError, error.what());
    }
  });
}

}  // namespace VolmPython
