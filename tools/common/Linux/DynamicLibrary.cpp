// SPDX-License-Identifier: MIT
#include "tools/common/DynamicLibrary.h"

#include <dlfcn.h>

DynamicLibrary::DynamicLibrary(const std::string& fileName) {
  handle_ = ::dlopen(fileName.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    const char* reason = ::dlerror();
    error_ = reason != nullptr ? reason : "dlopen failed";
  }
}

DynamicLibrary::~DynamicLibrary() { Unload(); }

void* DynamicLibrary::Symbol(const char* name) const {
  return handle_ != nullptr ? ::dlsym(handle_, name) : nullptr;
}

void DynamicLibrary::Unload() {
  if (handle_ != nullptr) ::dlclose(handle_);
  handle_ = nullptr;
}
