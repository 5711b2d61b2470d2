// SPDX-License-Identifier: MIT
// The base of every object handed to Python: it keeps the library loaded while it lives, and
// the set of live objects lets the interpreter's exit give back what scripts left open.
#ifndef PYTHON_OBJECT_H
#define PYTHON_OBJECT_H

#include "Library.h"

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

namespace VolmPython {

class Object {
 public:
  explicit Object(std::shared_ptr<Library> library);
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  virtual void Close() = 0;
  [[nodiscard]] virtual bool Closed() const = 0;

  // Closes every live object. Touches the set only with the interpreter's lock held.
  static void CloseAll();

 protected:
  // The held interface; ValueError once the object is closed.
  template <typename Interface>
  Interface* Open(const Ref<Interface>& ref, const char* what) const {
    if (ref.Get() == nullptr)
      throw pybind11::value_error(std::string("the ") + what + " is closed");
    return ref.Get();
  }
  [[nodiscard]] const std::shared_ptr<Library>& TheLibrary() const { return library_; }

 private:
  std::shared_ptr<Library> library_;
};

// `with x:` gives x and closes it at the end of the block; close() and closed.
template <typename Class>
void AddCloseProtocol(Class& cls) {
  using Type = typename Class::type;
  cls.def("close", &Type::Close, "Gives the object's references back; later calls raise.")
      .def_property_readonly("closed", &Type::Closed, "True once close() has run.")
      .def("__enter__", [](pybind11::object self) { return self; })
      .def("__exit__", [](Type& self, const pybind11::object&, const pybind11::object&,
                          const pybind11::object&) {
        self.Close();
        return false;
      });
}

}  // namespace VolmPython

#endif  // PYTHON_OBJECT_H
