#include "VolmTime/Core/Platform/Linux/StoreLocks.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace VolmTime::Core::Platform::Linux {

namespace {

flock OneByte(short type, StoreByte byte) noexcept {
  flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(byte);
  lock.l_len = 1;
  return lock;
}

bool WaitForLock(int descriptor, short type, StoreByte byte) noexcept {
  flock lock = OneByte(type, byte);
  while (::fcntl(descriptor, F_OFD_SETLKW, &lock) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

}  // namespace

bool WaitForReadLock(int descriptor, StoreByte byte) noexcept {
  return WaitForLock(descriptor, F_RDLCK, byte);
}

bool WaitForWriteLock(int descriptor, StoreByte byte) noexcept {
  return WaitForLock(descriptor, F_WRLCK, byte);
}

bool TryWriteLock(int descriptor, StoreByte byte) noexcept {
  flock lock = OneByte(F_WRLCK, byte);
  return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

void Unlock(int descriptor, StoreByte byte) noexcept {
  flock lock = OneByte(F_UNLCK, byte);
  (void)::fcntl(descriptor, F_OFD_SETLK, &lock);
}

bool OthersLock(int descriptor, StoreByte byte) noexcept {
  flock probe = OneByte(F_WRLCK, byte);
  // When the question cannot be asked, assume others: that never removes a live store.
  if (::fcntl(descriptor, F_OFD_GETLK, &probe) != 0) return true;
  return probe.l_type != F_UNLCK;
}

bool IsStillNamed(int descriptor) noexcept {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

}  // namespace VolmTime::Core::Platform::Linux
