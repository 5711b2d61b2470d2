#include "VolmTime/Core/Platform/SharedMemory.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

// Named shared memory on Linux lives in /dev/shm until someone unlinks it. To give it the
// lifetime of a Windows file mapping (alive while some process holds it), every holder keeps
// an open-file-description read lock on the object: the kernel drops it when the holder
// exits, however it exits. The last holder to close, the only one able to take the write
// lock, removes the name; an object found with no lock on it was left by holders that died.

namespace VolmTime::Core::Platform {

namespace bip = boost::interprocess;

namespace {

constexpr int kMaximumOpenAttempts = 100;

[[noreturn]] void ThrowSystemError(int error) { throw SharedMemoryError(std::strerror(error)); }

std::string ObjectName(const std::string& name) { return "/" + name; }

flock WholeFileLock(short type) {
  flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  return lock;
}

bool TakeReadLock(int descriptor) {
  flock lock = WholeFileLock(F_RDLCK);
  while (::fcntl(descriptor, F_OFD_SETLKW, &lock) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

// An atomic upgrade: on failure the read lock stays as it was.
bool TryTakeWriteLock(int descriptor) {
  flock lock = WholeFileLock(F_WRLCK);
  return ::fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

bool OthersHoldIt(int descriptor) {
  flock probe = WholeFileLock(F_WRLCK);
  if (::fcntl(descriptor, F_OFD_GETLK, &probe) != 0) return true;
  return probe.l_type != F_UNLCK;
}

bool StillNamed(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

// An open descriptor of the object, holding a read lock, on an object that is still named.
struct HeldObject {
  int descriptor = -1;
  bool alone = false;
};

HeldObject HoldObject(const std::string& name, bool create) {
  const std::string objectName = ObjectName(name);
  for (int attempt = 0; attempt < kMaximumOpenAttempts; ++attempt) {
    int descriptor = ::shm_open(objectName.c_str(), O_RDWR | (create ? O_CREAT : 0), 0666);
    if (descriptor < 0 && errno == EACCES && !create) {
      // Readable but not writable for us: we can hold it, not remove it.
      descriptor = ::shm_open(objectName.c_str(), O_RDONLY, 0);
    }
    if (descriptor < 0) ThrowSystemError(errno);
    if (create) (void)::fchmod(descriptor, 0666);  // open to every account, whatever the umask
    if (!TakeReadLock(descriptor)) {
      const int error = errno;
      ::close(descriptor);
      ThrowSystemError(error);
    }
    // A holder that was the last one unlinked the name while we waited for the lock.
    if (!StillNamed(descriptor)) {
      ::close(descriptor);
      continue;
    }
    return {descriptor, !OthersHoldIt(descriptor)};
  }
  ThrowSystemError(EAGAIN);
}

// Removes the name if this descriptor's holder is the only one left. Keeps the read lock
// otherwise.
bool RemoveIfLastHolder(int descriptor, const std::string& name) {
  if (!TryTakeWriteLock(descriptor)) return false;
  if (StillNamed(descriptor)) ::shm_unlink(ObjectName(name).c_str());
  return true;
}

}  // namespace

struct SharedMemoryMapping::Impl {
  std::string name;
  int lockDescriptor = -1;
  bool writable = false;
  bip::mapped_region region;

  ~Impl() {
    region = bip::mapped_region();
    if (lockDescriptor >= 0) {
      RemoveIfLastHolder(lockDescriptor, name);
      ::close(lockDescriptor);
    }
  }
};

SharedMemoryMapping SharedMemoryMapping::CreateOrOpen(const std::string& name, std::size_t size) {
  if (TakeFault(Faults().failMappings)) ThrowSystemError(ENOMEM);
  auto impl = std::make_unique<Impl>();
  impl->name = name;
  impl->writable = true;
  const HeldObject held = HoldObject(name, true);
  impl->lockDescriptor = held.descriptor;
  struct stat status {};
  if (::fstat(held.descriptor, &status) != 0) ThrowSystemError(errno);
  const auto wanted = static_cast<off_t>(size);
  // Alone with it: new, or left by holders that died; either way it starts zero-filled.
  if (held.alone && status.st_size != 0 && ::ftruncate(held.descriptor, 0) != 0) ThrowSystemError(errno);
  if ((held.alone || status.st_size < wanted) && ::ftruncate(held.descriptor, wanted) != 0) {
    ThrowSystemError(errno);
  }
  try {
    bip::shared_memory_object object(bip::open_only, name.c_str(), bip::read_write);
    impl->region = bip::mapped_region(object, bip::read_write);
  } catch (const bip::interprocess_exception& failure) {
    throw SharedMemoryError(failure.what());
  }
  return SharedMemoryMapping(std::move(impl));
}

SharedMemoryMapping SharedMemoryMapping::OpenReadOnly(const std::string& name) {
  if (TakeFault(Faults().failMappings)) ThrowSystemError(ENOMEM);
  auto impl = std::make_unique<Impl>();
  impl->name = name;
  const HeldObject held = HoldObject(name, false);
  impl->lockDescriptor = held.descriptor;
  if (held.alone && RemoveIfLastHolder(held.descriptor, name)) {
    // Nobody alive holds it: what is there was left by processes that died.
    ThrowSystemError(ENOENT);
  }
  try {
    bip::shared_memory_object object(bip::open_only, name.c_str(), bip::read_only);
    impl->region = bip::mapped_region(object, bip::read_only);
  } catch (const bip::interprocess_exception& failure) {
    throw SharedMemoryError(failure.what());
  }
  return SharedMemoryMapping(std::move(impl));
}

SharedMemoryMapping::SharedMemoryMapping(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
SharedMemoryMapping::SharedMemoryMapping(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping& SharedMemoryMapping::operator=(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping::~SharedMemoryMapping() = default;

void* SharedMemoryMapping::Address() const noexcept { return impl_->region.get_address(); }
std::size_t SharedMemoryMapping::Size() const noexcept { return impl_->region.get_size(); }
bool SharedMemoryMapping::IsWritable() const noexcept { return impl_->writable; }
const std::string& SharedMemoryMapping::Name() const noexcept { return impl_->name; }

}  // namespace VolmTime::Core::Platform
