// SPDX-License-Identifier: MIT
#include "platform/Backend.h"
#include "platform/linux/StoreAccess.h"
#include "platform/linux/StoreLockFile.h"
#include "platform/linux/StoreLocks.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/permissions.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

// POSIX shared memory stays in /dev/shm until someone removes its name. To give it the
// lifetime of a Windows file mapping (alive while some process holds it, gone with the last
// holder, never found live after its holders crashed) the holders keep locks that the
// kernel drops with them. The locks lie on a lock file that only the store's account can
// open (StoreLockFile.h), never on the store, which every account may open for reading and
// so could lock; StoreLocks.h describes the protocol.

namespace VolmTime::Platform {

namespace bip = boost::interprocess;
using Linux::StoreByte;

namespace {

// Each attempt that fails does so because a last holder removed the names in the meantime;
// a few in a row mean something is wrong.
constexpr int kMaximumOpenAttempts = 100;

[[noreturn]] void ThrowSystemError(int error) { throw SharedMemoryError(std::strerror(error)); }

[[noreturn]] void ThrowLockFailure(int error) {
  if (error != EWOULDBLOCK) ThrowSystemError(error);
  throw SharedMemoryError("another process has kept it locked for " +
                          std::to_string(Linux::kLockPatience.count()) + " s");
}

void ThrowIfRefused(const std::string& refusal) {
  if (!refusal.empty()) throw SharedMemoryError(refusal);
}

}  // namespace

struct LinuxMapping : SharedMemoryMapping::Impl {
  bip::shared_memory_object object;
  // The lock file of a store of this process's own account. A reader of another account's
  // store cannot open it: it holds the store without taking part in the protocol.
  std::optional<Linux::StoreLockFile> locks;
  bool holding = false;

  explicit LinuxMapping(std::string storeName) : Impl(std::move(storeName)) {}

  ~LinuxMapping() override {
    region = bip::mapped_region();
    if (holding) (void)RemoveNamesIfLast();
  }

  [[nodiscard]] int Store() const noexcept { return object.get_mapping_handle().handle; }
  [[nodiscard]] int Locks() const noexcept { return locks->Descriptor(); }

  // Whether the store and its lock file still have the names they were opened by: a last
  // holder may have removed both since.
  [[nodiscard]] bool StillCurrent() const noexcept {
    return locks->IsCurrent() && Linux::IsStillNamed(Store());
  }

  void TakeOpeningLock() const {
    if (!Linux::WaitForWriteLock(Locks(), StoreByte::kOpening)) ThrowLockFailure(errno);
  }

  // Whether another process holds the store. When the question cannot be asked, the answer
  // is yes: that never removes or resets a live store.
  [[nodiscard]] bool OthersHold() const noexcept {
    return Linux::OthersLock(Locks(), StoreByte::kHolder);
  }

  // Becomes one of the holders. False when the last holder removed the names while this one
  // waited: the caller opens the name again.
  bool JoinHolders() {
    if (!Linux::WaitForReadLock(Locks(), StoreByte::kHolder)) ThrowLockFailure(errno);
    holding = true;
    if (!StillCurrent()) return false;
    Linux::Unlock(Locks(), StoreByte::kOpening);
    return true;
  }

  // Only the last holder, or an opener that found nobody holding the store, gets the write
  // lock; it removes the store's name and its lock file, unless they went meanwhile (a store
  // of the same name made afterwards keeps its own).
  bool RemoveNamesIfLast() noexcept {
    if (!Linux::TryWriteLock(Locks(), StoreByte::kHolder) || !StillCurrent()) return false;
    bip::shared_memory_object::remove(name.c_str());
    locks->Remove();
    return true;
  }
};

namespace {

std::unique_ptr<LinuxMapping> CreateOrOpenStore(const std::string& name, std::size_t size) {
  for (int attempt = 0; attempt < kMaximumOpenAttempts; ++attempt) {
    auto impl = std::make_unique<LinuxMapping>(name);
    // A writer's store is of its own account: its lock file comes first, so that a writer
    // that cannot open it has made nothing.
    impl->locks = Linux::StoreLockFile::Open(name);
    impl->TakeOpeningLock();
    if (!impl->locks->IsCurrent()) continue;
    try {
      try {
        impl->object = bip::shared_memory_object(bip::open_or_create, name.c_str(), bip::read_write,
                                                 bip::permissions(Linux::kStoreMode));
      } catch (const bip::interprocess_exception& failure) {
        if (failure.get_native_error() != EACCES) throw;
        throw SharedMemoryError(Linux::DeniedWriting(name, failure.what()));
      }
      ThrowIfRefused(Linux::RefusalToWrite(impl->Store()));
    } catch (...) {
      // The lock file of a store that nobody holds is not left behind.
      if (Linux::TryWriteLock(impl->Locks(), StoreByte::kHolder)) impl->locks->Remove();
      throw;
    }
    if (!impl->StillCurrent()) continue;
    if (!impl->OthersHold()) {
      // New, or left behind by holders that all ended: either way it starts zero-filled.
      try {
        impl->object.truncate(0);
        impl->object.truncate(static_cast<bip::offset_t>(size));
      } catch (...) {
        // Nobody else holds it and no one else is opening it: a store that could not be
        // set up is not left behind.
        (void)impl->RemoveNamesIfLast();
        throw;
      }
    }
    // A live store keeps the size it has, as a Windows mapping opened by name does.
    if (!impl->JoinHolders()) continue;
    impl->region = bip::mapped_region(impl->object, bip::read_write);
    return impl;
  }
  ThrowSystemError(EAGAIN);
}

std::unique_ptr<LinuxMapping> OpenStoreReadOnly(const std::string& name) {
  for (int attempt = 0; attempt < kMaximumOpenAttempts; ++attempt) {
    auto impl = std::make_unique<LinuxMapping>(name);
    impl->object = bip::shared_memory_object(bip::open_only, name.c_str(), bip::read_only);
    ThrowIfRefused(Linux::RefusalToRead(impl->Store()));
    if (!Linux::BelongsToThisAccount(impl->Store())) {
      // Another account's store: read as it stands, whether its holders live or not.
      impl->region = bip::mapped_region(impl->object, bip::read_only);
      return impl;
    }
    impl->locks = Linux::StoreLockFile::Open(name);
    impl->TakeOpeningLock();
    if (!impl->StillCurrent()) continue;
    if (!impl->OthersHold()) {
      // Nobody alive holds it: it was left by processes that ended without closing it (or
      // its creator has not set it up yet, and the creator will then make it anew). To a
      // reader it does not exist, and its remains go.
      (void)impl->RemoveNamesIfLast();
      ThrowSystemError(ENOENT);
    }
    if (!impl->JoinHolders()) continue;
    impl->region = bip::mapped_region(impl->object, bip::read_only);
    return impl;
  }
  ThrowSystemError(EAGAIN);
}

}  // namespace

std::unique_ptr<SharedMemoryMapping::Impl> CreateOrOpenMappingImpl(const std::string& name,
                                                                   std::size_t size) {
  return CreateOrOpenStore(name, size);
}

std::unique_ptr<SharedMemoryMapping::Impl> OpenMappingReadOnlyImpl(const std::string& name) {
  return OpenStoreReadOnly(name);
}

std::string OutOfMemoryReasonImpl() { return std::strerror(ENOMEM); }

}  // namespace VolmTime::Platform
