// SPDX-License-Identifier: MIT
#include "platform/linux/StoreLocks.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace VolmTime::Platform::Linux {

namespace {

flock OneByte(short type, StoreByte byte) noexcept {
  flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(byte);
  lock.l_len = 1;
  return lock;
}

// Polls rather than blocks: a blocking wait could last for ever when another process keeps
// the lock, and no signal would end it.
bool WaitForLock(int descriptor, short type, StoreByte byte) noexcept {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + kLockPatience;
  auto pause = std::chrono::microseconds(50);
  for (;;) {
    flock lock = OneByte(type, byte);
    if (::fcntl(descriptor, F_OFD_SETLK, &lock) == 0) return true;
    if (errno != EAGAIN && errno != EACCES && errno != EINTR) return false;
    if (Clock::now() >= deadline) {
      errno = EWOULDBLOCK;
      return false;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(10'000));
  }
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

}  // namespace VolmTime::Platform::Linux
