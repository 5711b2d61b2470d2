// SPDX-License-Identifier: MIT
// A read-only view of a named store, for looking at its bytes directly.
#ifndef TOOLS_VOLMTIME_STOREMAPPING_H
#define TOOLS_VOLMTIME_STOREMAPPING_H

#include <cstddef>
#include <memory>
#include <string>

class StoreMapping {
 public:
  // Throws std::runtime_error with the system's reason if the store cannot be opened.
  explicit StoreMapping(const std::string& name);
  ~StoreMapping();
  StoreMapping(const StoreMapping&) = delete;
  StoreMapping& operator=(const StoreMapping&) = delete;

  [[nodiscard]] const void* Address() const;
  [[nodiscard]] std::size_t Size() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

#endif  // TOOLS_VOLMTIME_STOREMAPPING_H
