// SPDX-License-Identifier: MIT
// Python's str and the library's UTF-16 texts.
#ifndef PYTHON_TEXT_H
#define PYTHON_TEXT_H

#include <pybind11/pybind11.h>

#include <string>

namespace VolmPython {

pybind11::str FromUtf16(const std::u16string& text);
std::u16string ToUtf16(const pybind11::str& text);

}  // namespace VolmPython

#endif  // PYTHON_TEXT_H
