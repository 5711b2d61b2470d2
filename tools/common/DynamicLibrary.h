// SPDX-License-Identifier: MIT
// Loads a shared library at run time and looks up functions by name, as a host does.
#ifndef TOOLS_COMMON_DYNAMICLIBRARY_H
#define TOOLS_COMMON_DYNAMICLIBRARY_H

#include <string>

class DynamicLibrary {
 public:
  // Loads the library; IsLoaded() tells whether it worked and Error() why not.
  explicit DynamicLibrary(const std::string& fileName);
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;
  ~DynamicLibrary();

  [[nodiscard]] bool IsLoaded() const noexcept { return handle_ != nullptr; }
  [[nodiscard]] const std::string& Error() const noexcept { return error_; }

  // The exported symbol's address, or null.
  [[nodiscard]] void* Symbol(const char* name) const;

  template <typename Function>
  [[nodiscard]] Function Get(const char* name) const {
    return reinterpret_cast<Function>(Symbol(name));
  }

  // Unloads now rather than at destruction.
  void Unload();

 private:
  void* handle_ = nullptr;
  std::string error_;
};

#endif  // TOOLS_COMMON_DYNAMICLIBRARY_H
