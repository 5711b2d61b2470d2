// SPDX-License-Identifier: MIT
#include "Arguments.h"

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

namespace py = pybind11;

namespace VolmPython {
namespace {

// 2**64 as a double, the first count of units that does not fit.
constexpr double kUnitsLimit = 18'446'744'073'709'551'616.0;

std::string TypeName(const py::handle& value) { return Py_TYPE(value.ptr())->tp_name; }
std::string Repr(const py::handle& value) { return py::repr(value).cast<std::string>(); }

[[noreturn]] void RaiseOverflow(const std::string& message) {
  PyErr_SetString(PyExc_OverflowError, message.c_str());
  throw py::error_already_set();
}

// True for an int, and not for a bool, which is one in Python but not what the caller meant.
bool IsInt(const py::handle& value) {
  return PyLong_Check(value.ptr()) != 0 && PyBool_Check(value.ptr()) == 0;
}

bool IsNumber(const py::handle& value) { return IsInt(value) || PyFloat_Check(value.ptr()) != 0; }

bool IsNegative(const py::handle& value) {
  return PyObject_RichCompareBool(value.ptr(), py::int_(0).ptr(), Py_LT) == 1;
}

// A number of seconds as a double; big ints become inf rather than raising.
double Seconds(const py::handle& value, const char* name, const char* alternative) {
  if (!IsNumber(value)) {
    throw py::type_error(std::string(name) + " must be a number" + alternative + ", not " +
                         TypeName(value));
  }
  double seconds = PyFloat_AsDouble(value.ptr());
  if (seconds == -1.0 && PyErr_Occurred() != nullptr) {
    PyErr_Clear();
    seconds = IsNegative(value) ? -HUGE_VAL : HUGE_VAL;
  }
  if (std::isnan(seconds))
    throw py::value_error(std::string(name) + " must be a number" + alternative + ", not nan");
  if (seconds < 0.0)
    throw py::value_error(std::string(name) + " cannot be negative, not " + Repr(value));
  return seconds;
}

}  // namespace

std::uint64_t Unsigned64(const py::handle& value, const char* name) {
  if (!IsInt(value))
    throw py::type_error(std::string(name) + " must be an int, not " + TypeName(value));
  const unsigned long long converted = PyLong_AsUnsignedLongLong(value.ptr());
  if (PyErr_Occurred() != nullptr) {
    PyErr_Clear();
    RaiseOverflow(std::string(name) + " must be from 0 to 2**64 - 1, not " + Repr(value));
  }
  return converted;
}

std::uint64_t Duration(const py::handle& seconds, const py::handle& units) {
  if (seconds.is_none() == units.is_none())
    throw py::type_error("give the duration either in seconds or as units=, not both or neither");
  if (!units.is_none()) {
    if (IsInt(units) && IsNegative(units))
      throw py::value_error("units cannot be negative, not " + Repr(units));
    return Unsigned64(units, "units");
  }
  const double count = Seconds(seconds, "seconds", "") * static_cast<double>(kUnitsPerSecond);
  if (count >= kUnitsLimit) {
    RaiseOverflow("seconds must be less than 2**64 units of 100 ns (about 58,494 years), not " +
                  Repr(seconds));
  }
  return static_cast<std::uint64_t>(std::nearbyint(count));
}

std::uint32_t TimeoutMs(const py::handle& seconds) {
  if (seconds.is_none()) return VOLM_INFINITE;
  const double ms = std::ceil(Seconds(seconds, "timeout", " of seconds or None") * 1000.0);
  if (ms >= static_cast<double>(VOLM_INFINITE)) {
    RaiseOverflow("timeout must be at most 4294967.294 s (None waits without limit), not " +
                  Repr(seconds));
  }
  return static_cast<std::uint32_t>(ms);
}

std::vector<VolmHandle> Handles(const py::handle& handles) {
  static_assert(std::is_integral_v<VolmHandle>, "Python hosts pass descriptors");
  if (!PySequence_Check(handles.ptr()) || PyUnicode_Check(handles.ptr()) != 0)
    throw py::type_error("handles must be a sequence, not " + TypeName(handles));
  std::vector<VolmHandle> native;
  const auto sequence = py::reinterpret_borrow<py::sequence>(handles);
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    const std::string name = "handles[" + std::to_string(i) + "]";
    py::object item = sequence[i];
    if (!IsInt(item) && py::hasattr(item, "fileno")) item = item.attr("fileno")();
    if (!IsInt(item)) {
      throw py::type_error(name + " must be an int descriptor or have fileno(), not " +
                           TypeName(sequence[i]));
    }
    const long long value = PyLong_AsLongLong(item.ptr());
    if ((value == -1 && PyErr_Occurred() != nullptr) ||
        value < std::numeric_limits<VolmHandle>::min() ||
        value > std::numeric_limits<VolmHandle>::max()) {
      PyErr_Clear();
      RaiseOverflow(name + " is not a descriptor: " + Repr(item));
    }
    native.push_back(static_cast<VolmHandle>(value));
  }
  return native;
}

void CheckSignals() {
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace VolmPython
