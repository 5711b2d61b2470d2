// SPDX-License-Identifier: MIT
#include "platform/Backend.h"
#include "platform/linux/StoreAccess.h"
#include "platform/linux/StoreLocks.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/permissions.hpp>
#include <boost/interprocess/shared_memory_object.hpp>

#include <cerrno>
#include <cstring>
#include <utility>

// POSIX shared memory stays in /dev/shm until someone removes its name. To give it the
// lifetime of a Windows file mapping (alive while some process holds it, gone with the last
// holder, never found live after its holders crashed) the holders keep locks on it that the
// kernel drops with them; StoreLocks.h describes the protocol.

namespace VolmTime::Platform {

namespace bip = boost::interprocess;
using Linux::StoreByte;

namespace {

// Each attempt that fails does so because a last holder removed the name in the meantime;
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
  // Whether the descriptor was opened for writing: write locks, which setting up, removing
  // and reading as the last holder take, need one.
  bool mayWrite = false;
  bool holding = false;
  bip::shared_memory_object object;  // its descriptor carries this process's locks

  explicit LinuxMapping(std::string storeName) : Impl(std::move(storeName)) {}

  ~LinuxMapping() override {
    region = bip::mapped_region();
    if (holding) LeaveHolders();
  }

  [[nodiscard]] int Descriptor() const noexcept { return object.get_mapping_handle().handle; }

  void TakeOpeningLock() const {
    const int descriptor = Descriptor();
    if (!(mayWrite ? Linux::WaitForWriteLock(descriptor, StoreByte::kOpening)
                   : Linux::WaitForReadLock(descriptor, StoreByte::kOpening))) {
      ThrowLockFailure(errno);
    }
  }

  // Becomes one of the holders. False when the last holder removed the name while this one
  // waited: the caller opens the name again.
  bool JoinHolders() {
    const int descriptor = Descriptor();
    if (!Linux::WaitForReadLock(descriptor, StoreByte::kHolder)) ThrowLockFailure(errno);
    holding = true;
    if (!Linux::IsStillNamed(descriptor)) return false;
    Linux::Unlock(descriptor, StoreByte::kOpening);
    return true;
  }

  // Only the last holder gets the write lock. It removes the name unless a store of the same
  // name that was made afterwards has it by now (then this object has no name any more). A
  // reader that could only open the store read-only cannot take the lock: what it leaves is
  // found abandoned by the next opener.
  void LeaveHolders() noexcept {
    const int descriptor = Descriptor();
    if (mayWrite && Linux::TryWriteLock(descriptor, StoreByte::kHolder) &&
        Linux::IsStillNamed(descriptor)) {
      bip::shared_memory_object::remove(name.c_str());
    }
  }
};

namespace {

std::unique_ptr<LinuxMapping> CreateOrOpenStore(const std::string& name,
                                                             std::size_t size) {
  for (int attempt = 0; attempt < kMaximumOpenAttempts; ++attempt) {
    auto impl = std::make_unique<LinuxMapping>(name);
    try {
      impl->object = bip::shared_memory_object(bip::open_or_create, name.c_str(), bip::read_write,
                                               bip::permissions(Linux::kStoreMode));
    } catch (const bip::interprocess_exception& failure) {
      if (failure.get_native_error() != EACCES) throw;
      throw SharedMemoryError(Linux::DeniedWriting(name, failure.what()));
    }
    impl->mayWrite = true;
    ThrowIfRefused(Linux::RefusalToWrite(impl->Descriptor()));
    impl->TakeOpeningLock();
    if (!Linux::IsStillNamed(impl->Descriptor())) continue;
    if (!Linux::OthersLock(impl->Descriptor(), StoreByte::kHolder)) {
      // New, or left behind by holders that all ended: either way it starts zero-filled.
      try {
        impl->object.truncate(0);
        impl->object.truncate(static_cast<bip::offset_t>(size));
      } catch (...) {
        // Nobody else holds it and no one else is opening it: a store that could not be
        // set up is not left behind.
        bip::shared_memory_object::remove(name.c_str());
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

// Opens for writing where the account may, although the view is read-only: see mayWrite.
void OpenExisting(LinuxMapping& impl) {
  try {
    impl.object = bip::shared_memory_object(bip::open_only, impl.name.c_str(), bip::read_write);
    impl.mayWrite = true;
    return;
  } catch (const bip::interprocess_exception& failure) {
    if (failure.get_native_error() != EACCES) throw;
  }
  impl.object = bip::shared_memory_object(bip::open_only, impl.name.c_str(), bip::read_only);
  impl.mayWrite = false;
}

std::unique_ptr<LinuxMapping> OpenStoreReadOnly(const std::string& name) {
  for (int attempt = 0; attempt < kMaximumOpenAttempts; ++attempt) {
    auto impl = std::make_unique<LinuxMapping>(name);
    OpenExisting(*impl);
    ThrowIfRefused(Linux::RefusalToRead(impl->Descriptor()));
    impl->TakeOpeningLock();
    if (!Linux::IsStillNamed(impl->Descriptor())) continue;
    if (!Linux::OthersLock(impl->Descriptor(), StoreByte::kHolder)) {
      // Nobody alive holds it: it was left by processes that ended without closing it (or
      // its creator has not set it up yet, and the creator will then make it anew). To a
      // reader it does not exist; the one that may removes the remains.
      if (impl->mayWrite && Linux::TryWriteLock(impl->Descriptor(), StoreByte::kHolder)) {
        bip::shared_memory_object::remove(name.c_str());
      }
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
