// SPDX-License-Identifier: MIT
// The library as the Python module holds it: loaded once per open(), attached while any
// Python object that came from it is alive, unloaded only when nothing of it is.
#ifndef PYTHON_LIBRARY_H
#define PYTHON_LIBRARY_H

#include <VolmTime/VolmTime.h>

#include "tools/common/LoadedLibrary.h"
#include "tools/common/Ref.h"

#include <memory>
#include <optional>
#include <string>

namespace VolmPython {

class Library {
 public:
  // `file`, else $VOLMTIME_LIBRARY, else the first that loads of: the copy a wheel carries
  // beside the module, the installed library seen from the module's install folder, the
  // build tree's (not for a module made for a wheel), and the SONAME through the system's
  // library search. Throws LibraryLoadError naming every file tried.
  static std::shared_ptr<Library> Load(const std::optional<std::string>& file);
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  // The time factory with one reference for the caller, taken at once.
  [[nodiscard]] Ref<IVolmTimeFactory> Factory() const;
  [[nodiscard]] bool CanUnload() const { return canUnload_() == 1; }
  [[nodiscard]] std::string File() const { return library_.File().string(); }

 private:
  explicit Library(LoadedLibrary library);

  LoadedLibrary library_;
  VolmCreateInstanceFunction createInstance_;
  VolmCanDllUnloadFunction canUnload_;
  VolmDetachFunction detach_;
};

}  // namespace VolmPython

#endif  // PYTHON_LIBRARY_H
