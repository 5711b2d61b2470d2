// SPDX-License-Identifier: MIT
// Open-file-description locks on a store's lock file (StoreLockFile.h), through which the
// processes of the store's account that hold it agree on its lifetime. Private to the Linux
// backend.
//
// Two bytes of the lock file carry the protocol (a lock may lie past the end of a file):
// - the holder byte is read-locked by every process that holds the store, for as long as it
//   holds it; the kernel drops the lock when the holder ends, however it ends. A write lock
//   on it means "the last holder is removing the names".
// - the opening byte is write-locked by whoever opens the store, so that finding out
//   whether the store is live, setting up a new or abandoned one and joining the holders
//   happen as one step.
// Only the store's account can open the lock file; readers of other accounts hold a store
// without taking part.
#ifndef VOLMTIME_PLATFORM_LINUX_STORELOCKS_H
#define VOLMTIME_PLATFORM_LINUX_STORELOCKS_H

#include <chrono>

namespace VolmTime::Platform::Linux {

enum class StoreByte { kHolder = 0, kOpening = 1 };

// How long a lock that another process holds is waited for. Openers and last holders keep
// their locks for moments; a lock held longer belongs to a process of the account that does
// not follow the protocol.
inline constexpr std::chrono::seconds kLockPatience{2};

// Waits for the lock, at most kLockPatience. False with errno set on failure, EWOULDBLOCK
// when the time ran out.
bool WaitForReadLock(int descriptor, StoreByte byte) noexcept;
bool WaitForWriteLock(int descriptor, StoreByte byte) noexcept;
// Takes (or turns a read lock of this descriptor into) a write lock if nobody else holds a
// lock on the byte; on failure the descriptor's own lock stays as it was.
bool TryWriteLock(int descriptor, StoreByte byte) noexcept;
void Unlock(int descriptor, StoreByte byte) noexcept;

// Whether another open file description holds any lock on the byte.
bool OthersLock(int descriptor, StoreByte byte) noexcept;

// Whether the object still has its name (a last holder may have removed it).
bool IsStillNamed(int descriptor) noexcept;

}  // namespace VolmTime::Platform::Linux

#endif  // VOLMTIME_PLATFORM_LINUX_STORELOCKS_H
