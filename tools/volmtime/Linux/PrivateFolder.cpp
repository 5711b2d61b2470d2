// SPDX-License-Identifier: MIT
#include "PrivateFolder.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;
// Another process of the account removes the folder when its last file goes; whoever meets
// it removed under them makes it anew. Failing this often in a row means something else.
constexpr int kMaximumAttempts = 100;

class Descriptor {
 public:
  explicit Descriptor(int value = -1) noexcept : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (value_ >= 0) ::close(value_);
  }
  [[nodiscard]] int Get() const noexcept { return value_; }
  explicit operator bool() const noexcept { return value_ >= 0; }

 private:
  int value_;
};

std::string AccountOf(uid_t uid) {
  std::vector<char> buffer(4096);
  passwd entry{};
  passwd* found = nullptr;
  const std::string number = "uid " + std::to_string(uid);
  if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return number;
  return std::string(found->pw_name) + " (" + number + ")";
}

[[noreturn]] void ThrowFailure(const std::string& what, int error) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

bool SameFile(const struct stat& one, const struct stat& other) noexcept {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Where the tool's folder is made: the folder above it and its name there.
struct Location {
  std::string parent;
  std::string name;
};

Location ChooseLocation() {
  const uid_t me = ::geteuid();
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  struct stat status {};
  if (runtime != nullptr && runtime[0] == '/' && ::stat(runtime, &status) == 0 &&
      S_ISDIR(status.st_mode) && status.st_uid == me && (status.st_mode & 022) == 0)
    return {runtime, "volmtime"};
  std::error_code error;
  std::string temp = std::filesystem::temp_directory_path(error).string();
  if (error || temp.empty()) temp = "/tmp";
  return {temp, "volmtime-" + std::to_string(me)};
}

// A file that belongs to the account and is not a link, a folder or a device.
void CheckFile(int descriptor, const std::string& path) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) ThrowFailure(path, errno);
  if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid())
    throw std::runtime_error(path + " is not a file of this account's own");
}

}  // namespace

struct PrivateFolder::Impl {
  Location location = ChooseLocation();
  std::string path = location.parent + "/" + location.name;

  // The folder, made first if `make`; nothing when it does not exist and is not to be made.
  // Refused unless it belongs to the account; made private again if it was not.
  [[nodiscard]] Descriptor Open(bool make) const {
    for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
      const Descriptor parent(::open(location.parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      if (!parent) ThrowFailure(location.parent, errno);
      if (make && ::mkdirat(parent.Get(), location.name.c_str(), kFolderMode) != 0 &&
          errno != EEXIST)
        ThrowFailure("cannot make " + path, errno);
      Descriptor folder(::openat(parent.Get(), location.name.c_str(),
                                 O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (!folder) {
        if (errno == ENOENT) {
          if (!make) return folder;
          continue;  // removed between making and opening it
        }
        if (errno == ELOOP || errno == ENOTDIR)
          throw std::runtime_error(path + " is a link or a file, not volmtime's folder; remove it");
        ThrowFailure(path, errno);
      }
      struct stat status {};
      if (::fstat(folder.Get(), &status) != 0) ThrowFailure(path, errno);
      if (status.st_uid != ::geteuid())
        throw std::runtime_error(
            "the folder " + path + " for volmtime's own files belongs to the account " +
            AccountOf(status.st_uid) +
            ", so it is not used; remove it, or set XDG_RUNTIME_DIR to a folder of this account's "
            "own");
      if ((status.st_mode & 07777) != kFolderMode) (void)::fchmod(folder.Get(), kFolderMode);
      return folder;
    }
    ThrowFailure(path, EAGAIN);
  }
};

namespace {

// Holds the lock through its file, which it removes while it still holds it.
class FileLock : public PrivateFolder::Lock {
 public:
  FileLock(const PrivateFolder::Impl& folder, std::string file, Descriptor lock)
      : folder_(folder), file_(std::move(file)), lock_(std::move(lock)) {}
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  ~FileLock() override {
    try {
      const Descriptor folder = folder_.Open(false);
      struct stat mine {};
      struct stat named {};
      if (folder && ::fstat(lock_.Get(), &mine) == 0 &&
          ::fstatat(folder.Get(), file_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
          SameFile(mine, named))
        (void)::unlinkat(folder.Get(), file_.c_str(), 0);
    } catch (...) {
      // The folder is no longer this account's: there is nothing of ours to remove.
    }
  }

 private:
  const PrivateFolder::Impl& folder_;
  std::string file_;
  Descriptor lock_;
};

}  // namespace

PrivateFolder::PrivateFolder() : impl_(std::make_unique<Impl>()) { (void)impl_->Open(false); }
PrivateFolder::~PrivateFolder() = default;

std::string PrivateFolder::Path() const { return impl_->path; }
std::string PrivateFolder::PathOf(const std::string& file) const {
  return impl_->path + "/" + file;
}

std::string PrivateFolder::Read(const std::string& file) const {
  const Descriptor folder = impl_->Open(false);
  if (!folder) return {};
  const Descriptor source(::openat(folder.Get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!source) return {};
  CheckFile(source.Get(), PathOf(file));
  std::string text;
  char buffer[512];
  for (ssize_t length = 0; (length = ::read(source.Get(), buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(length));
  return text;
}

void PrivateFolder::Write(const std::string& file, const std::string& text) const {
  for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
    const Descriptor folder = impl_->Open(true);
    const Descriptor target(::openat(folder.Get(), file.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC,
                                     kFileMode));
    if (!target) {
      if (errno == ENOENT) continue;  // the folder went after it was opened
      ThrowFailure("cannot write " + PathOf(file), errno);
    }
    CheckFile(target.Get(), PathOf(file));
    if (::write(target.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
      ThrowFailure("cannot write " + PathOf(file), errno);
    return;
  }
  ThrowFailure("cannot write " + PathOf(file), EAGAIN);
}

bool PrivateFolder::Exists(const std::string& file) const {
  const Descriptor folder = impl_->Open(false);
  struct stat status {};
  return folder && ::fstatat(folder.Get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

void PrivateFolder::Remove(const std::string& file) const noexcept {
  try {
    if (const Descriptor folder = impl_->Open(false))
      (void)::unlinkat(folder.Get(), file.c_str(), 0);
  } catch (...) {
    // Not the account's folder: nothing of ours is in it.
  }
}

void PrivateFolder::RemoveIfEmpty() const noexcept {
  const Descriptor parent(
      ::open(impl_->location.parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!parent) return;
  struct stat status {};
  // Only the account's own folder, and only when empty: the system refuses any other.
  if (::fstatat(parent.Get(), impl_->location.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISDIR(status.st_mode) && status.st_uid == ::geteuid())
    (void)::unlinkat(parent.Get(), impl_->location.name.c_str(), AT_REMOVEDIR);
}

std::unique_ptr<PrivateFolder::Lock> PrivateFolder::TryLock(const std::string& file) const {
  for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
    const Descriptor folder = impl_->Open(true);
    Descriptor lock(
        ::openat(folder.Get(), file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    if (!lock) {
      if (errno == ENOENT) continue;  // the folder went after it was opened
      ThrowFailure("cannot use the lock file " + PathOf(file), errno);
    }
    CheckFile(lock.Get(), PathOf(file));
    if (::flock(lock.Get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) return nullptr;
      ThrowFailure("cannot lock " + PathOf(file), errno);
    }
    // A holder removes the file as it lets go: a lock on a file that lost its name is no one's
    // concern, and the name may have a new file by now.
    struct stat mine {};
    struct stat named {};
    if (::fstat(lock.Get(), &mine) != 0 ||
        ::fstatat(folder.Get(), file.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 ||
        !SameFile(mine, named))
      continue;
    return std::make_unique<FileLock>(*impl_, file, std::move(lock));
  }
  ThrowFailure("cannot lock " + PathOf(file), EAGAIN);
}
