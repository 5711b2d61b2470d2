// SPDX-License-Identifier: MIT
#include "tools/common/DynamicLibrary.h"

#include <windows.h>

DynamicLibrary::DynamicLibrary(const std::string& fileName) {
  handle_ = reinterpret_cast<void*>(::LoadLibraryA(fileName.c_str()));
  if (handle_ == nullptr)
    error_ = "LoadLibraryA failed with error " + std::to_string(::GetLastError());
}

DynamicLibrary::~DynamicLibrary() { Unload(); }

void* DynamicLibrary::Symbol(const char* name) const {
  if (handle_ == nullptr) return nullptr;
  return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void DynamicLibrary::Unload() {
  if (handle_ != nullptr) ::FreeLibrary(static_cast<HMODULE>(handle_));
  handle_ = nullptr;
}
