// SPDX-License-Identifier: MIT
#include "platform/linux/StoreLockFile.h"

#include "platform/SharedMemory.h"
#include "platform/linux/StoreAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace VolmTime::Platform::Linux {

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

// A last holder removes the folder when it empties; an opener that meets a folder removed
// under it makes it again. Failing this often in a row means something else is wrong.
constexpr int kMaximumAttempts = 100;

[[noreturn]] void ThrowNotOurs(const std::string& what, const struct stat& status) {
  throw SharedMemoryError(what + " belongs to the account " + AccountOf(status.st_uid) +
                          ", not to this process's");
}

[[noreturn]] void ThrowFailure(const std::string& what, int error) {
  throw SharedMemoryError(what + ": " + std::strerror(error));
}

// The account's folder, made if it is missing; refused unless it is a folder (not a link)
// that belongs to the account. A folder of the account that others could write is made
// private again: files in it are checked one by one. Nothing when the folder was removed
// between making and opening it.
FileDescriptor OpenFolder(const std::string& path) {
  const std::string what = "its lock folder " + path;
  if (::mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST) ThrowFailure(what, errno);
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) {
    if (errno == ENOENT) return folder;
    if (errno == ELOOP || errno == ENOTDIR) {
      throw SharedMemoryError(what + " is not a folder but a link or a file");
    }
    const int error = errno;
    (void)::rmdir(path.c_str());  // made for nothing, unless other stores use it
    ThrowFailure(what, error);
  }
  struct stat status {};
  if (::fstat(folder.Get(), &status) != 0) ThrowFailure(what, errno);
  if (status.st_uid != ::geteuid()) ThrowNotOurs(what, status);
  if ((status.st_mode & 07777) != kFolderMode) (void)::fchmod(folder.Get(), kFolderMode);
  return folder;
}

bool SameFile(const struct stat& one, const struct stat& other) noexcept {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

std::string LockFolderPath() { return "/dev/shm/.volmtime-" + std::to_string(::geteuid()); }

StoreLockFile::StoreLockFile(FileDescriptor file, std::string fileName) noexcept
    : file_(std::move(file)), fileName_(std::move(fileName)) {}

StoreLockFile StoreLockFile::Open(const std::string& name) {
  // The system names a store without the slashes it may begin with.
  const std::string fileName = name.substr(std::min(name.find_first_not_of('/'), name.size()));
  // As the system refuses such a store name.
  if (fileName.empty() || fileName.find('/') != std::string::npos)
    throw SharedMemoryError(std::strerror(EINVAL));
  const std::string folderPath = LockFolderPath();
  const std::string what = "its lock file " + folderPath + "/" + fileName;
  for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
    const FileDescriptor folder = OpenFolder(folderPath);
    if (!folder) continue;
    FileDescriptor file(::openat(folder.Get(), fileName.c_str(),
                                 O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!file) {
      if (errno == ENOENT) continue;  // the folder was removed after it was opened
      const int error = errno;
      (void)::rmdir(folderPath.c_str());  // made for nothing, unless other stores use it
      ThrowFailure(what, error);
    }
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0) ThrowFailure(what, errno);
    if (!S_ISREG(status.st_mode)) throw SharedMemoryError(what + " is not a plain file");
    if (status.st_uid != ::geteuid()) ThrowNotOurs(what, status);
    if ((status.st_mode & 07777) != kFileMode) (void)::fchmod(file.Get(), kFileMode);
    return StoreLockFile(std::move(file), fileName);
  }
  ThrowFailure(what, EAGAIN);
}

bool StoreLockFile::IsCurrent() const noexcept {
  struct stat status {};
  return ::fstat(file_.Get(), &status) == 0 && status.st_nlink > 0;
}

void StoreLockFile::Remove() const noexcept {
  // By path: a process that has run out of descriptors still removes what it leaves. Only
  // the account's processes reach the folder, and they remove a lock file only while they
  // hold its write lock, as this one does: the name cannot change in between.
  const std::string folderPath = LockFolderPath();
  const std::string path = folderPath + "/" + fileName_;
  struct stat mine {};
  struct stat named {};
  if (::fstat(file_.Get(), &mine) == 0 && ::lstat(path.c_str(), &named) == 0 &&
      SameFile(mine, named)) {
    (void)::unlink(path.c_str());
  }
  // Fails while other stores of the account have their lock files in it.
  (void)::rmdir(folderPath.c_str());
}

}  // namespace VolmTime::Platform::Linux
