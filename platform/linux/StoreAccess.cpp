// SPDX-License-Identifier: MIT
#include "platform/linux/StoreAccess.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace VolmTime::Platform::Linux {

bool BelongsToThisAccount(int descriptor) noexcept {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && status.st_uid == ::geteuid();
}

std::string AccountOf(uid_t uid) {
  std::vector<char> buffer(4096);
  passwd entry{};
  passwd* found = nullptr;
  const std::string number = "uid " + std::to_string(uid);
  if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return number;
  }
  return std::string(found->pw_name) + " (" + number + ")";
}

namespace {

std::string BelongsTo(uid_t owner) {
  return "the store belongs to the account " + AccountOf(owner) +
         ", and only its owner's processes may write it";
}

}  // namespace

std::string RefusalToWrite(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return "its owner cannot be read";
  if (status.st_uid != ::geteuid()) return BelongsTo(status.st_uid);
  if ((status.st_mode & 0777) != kStoreMode) (void)::fchmod(descriptor, kStoreMode);
  return {};
}

std::string RefusalToRead(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return "its owner cannot be read";
  if (status.st_uid != ::geteuid() && (status.st_mode & 0022) != 0) {
    return "accounts other than its owner " + AccountOf(status.st_uid) +
           " may write it, so it could be cut short under its readers";
  }
  return {};
}

std::string DeniedWriting(const std::string& name, const std::string& reason) {
  const int descriptor = ::shm_open(name.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (descriptor < 0) return reason;
  struct stat status {};
  const bool known = ::fstat(descriptor, &status) == 0;
  ::close(descriptor);
  if (!known || status.st_uid == ::geteuid()) return reason;
  return reason + "; " + BelongsTo(status.st_uid);
}

}  // namespace VolmTime::Platform::Linux
