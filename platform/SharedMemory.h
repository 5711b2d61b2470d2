// SPDX-License-Identifier: MIT
// Named shared memory that lives while some process holds it.
#ifndef VOLMTIME_PLATFORM_SHAREDMEMORY_H
#define VOLMTIME_PLATFORM_SHAREDMEMORY_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

namespace VolmTime::Platform {

// Thrown when named shared memory cannot be created, opened or mapped. what() is the
// system's reason, without trailing line breaks (for a missing name: "The system cannot find
// the file specified." on Windows, "No such file or directory" on Linux).
class SharedMemoryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A named shared-memory object and one view of all of it. The name is used as it stands,
// without prefix. The store exists while any process holds it: the last holder's release
// removes it, and a store whose holders all died is not opened as a live one (a reader is
// told it does not exist, a writer starts it anew). Opening a live store keeps its size.
// Opening waits on other processes only for a bounded time.
class SharedMemoryMapping {
 public:
  // Creates the store with `size` bytes, zero-filled, read-write, or opens it read-write if it
  // exists already. Throws SharedMemoryError. On Windows every account may open it for
  // anything; on Linux its owner's account writes it and every account reads it, and a
  // store of another account is refused, with a reason that names the account.
  static SharedMemoryMapping CreateOrOpen(const std::string& name, std::size_t size);

  // Opens an existing store and maps all of it read-only. Throws SharedMemoryError.
  static SharedMemoryMapping OpenReadOnly(const std::string& name);

  SharedMemoryMapping(SharedMemoryMapping&&) noexcept;
  SharedMemoryMapping& operator=(SharedMemoryMapping&&) noexcept;
  ~SharedMemoryMapping();

  // Base address of the view.
  [[nodiscard]] void* Address() const noexcept;
  // Size of the view: the whole object as the system reports it (it may be larger than
  // asked for, or smaller when another program made it).
  [[nodiscard]] std::size_t Size() const noexcept;

  struct Impl;

 private:
  explicit SharedMemoryMapping(std::unique_ptr<Impl> impl) noexcept;
  std::unique_ptr<Impl> impl_;
};

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_SHAREDMEMORY_H
