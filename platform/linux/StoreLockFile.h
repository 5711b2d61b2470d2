// SPDX-License-Identifier: MIT
// The file that carries the locks of a store's opening protocol (StoreLocks.h). Every store
// of an account has one, named as the store, in a folder of that account's own:
// /dev/shm/.volmtime-UID, mode 0700, its files 0600. No other account can open either, so
// none can hold a lock that the account's openers would wait for, or one that makes an
// abandoned store look held. Private to the Linux backend.
#ifndef VOLMTIME_PLATFORM_LINUX_STORELOCKFILE_H
#define VOLMTIME_PLATFORM_LINUX_STORELOCKFILE_H

#include "platform/linux/FileDescriptor.h"

#include <string>

namespace VolmTime::Platform::Linux {

// The lock folder of this process's account (its effective user).
[[nodiscard]] std::string LockFolderPath();

class StoreLockFile {
 public:
  // Opens the lock file of the store `name`, making the folder and the file where they do
  // not exist. Throws SharedMemoryError when either is not the account's own (another
  // account made the folder first, or a link stands in its place): such a folder is never
  // used.
  static StoreLockFile Open(const std::string& name);

  [[nodiscard]] int Descriptor() const noexcept { return file_.Get(); }

  // Whether the file still has its name: the last holder of a store removes it, and whoever
  // locked it after that holds a lock nobody else sees.
  [[nodiscard]] bool IsCurrent() const noexcept;

  // Removes the file's name, and the folder once nothing else is in it.
  void Remove() const noexcept;

 private:
  StoreLockFile(FileDescriptor file, std::string fileName) noexcept;

  FileDescriptor file_;
  std::string fileName_;
};

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_STORELOCKFILE_H
