// SPDX-License-Identifier: MIT
#include "Text.h"

#include <bit>

namespace py = pybind11;

namespace VolmPython {

py::str FromUtf16(const std::u16string& text) {
  int byteOrder = std::endian::native == std::endian::little ? -1 : 1;
  PyObject* decoded = PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(text.data()),
                                            static_cast<Py_ssize_t>(text.size() * sizeof(char16_t)),
                                            "replace", &byteOrder);
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

std::u16string ToUtf16(const py::str& text) {
  const py::bytes encoded = text.attr("encode")("utf-16-le");
  const std::string bytes = encoded;
  std::u16string wide(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < wide.size(); ++i) {
    wide[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                    (static_cast<unsigned char>(bytes[2 * i + 1]) << 8));
  }
  return wide;
}

}  // namespace VolmPython
