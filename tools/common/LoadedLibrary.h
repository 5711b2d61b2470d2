// SPDX-License-Identifier: MIT
// The VolmTime library loaded at run time with Boost.DLL, as every host in this tree loads it
// (the tool, the test hosts, the benchmarks, the Python module): the first of a host's
// candidate files that loads, and an error that names every file tried when none does.
#ifndef TOOLS_COMMON_LOADEDLIBRARY_H
#define TOOLS_COMMON_LOADEDLIBRARY_H

#ifndef BOOST_DLL_USE_STD_FS
#define BOOST_DLL_USE_STD_FS
#endif
#include <boost/dll/shared_library.hpp>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

// No candidate loaded.
class LibraryLoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct LibraryCandidate {
  // A bare file name means the file beside the running program, where Windows looks first.
  std::filesystem::path file;
  // A bare file name for the system's own library search (ld.so's path and cache), rather
  // than a file that must exist where it is named.
  bool systemSearch = false;
};

class LoadedLibrary {
 public:
  // Loads the first candidate that loads; throws LibraryLoadError naming each file tried and
  // why it did not load.
  explicit LoadedLibrary(const std::vector<LibraryCandidate>& candidates);

  // The exported function `name` as a pointer of type Function; throws if it is missing.
  template <typename Function>
  [[nodiscard]] Function Get(const char* name) const {
    if (!library_.has(name))
      throw LibraryLoadError(File().string() + " has no " + std::string(name));
    return &library_.get<std::remove_pointer_t<Function>>(name);
  }
  [[nodiscard]] std::filesystem::path File() const;

  // Leaves the library loaded for the rest of the process, for when objects of it may still
  // be alive as this holder goes.
  void KeepForProcess();

 private:
  boost::dll::shared_library library_;
};

// The folder of the running program (the build tree keeps the library and the other
// programs there).
[[nodiscard]] std::filesystem::path ProgramFolder();

#endif  // TOOLS_COMMON_LOADEDLIBRARY_H
