#include "VolmTime/Core/Platform/SharedMemory.h"

#include "VolmTime/Core/Platform/FaultInjection.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/permissions.hpp>
#include <boost/interprocess/windows_shared_memory.hpp>

#include <utility>

// A named file mapping backed by the paging file lives while any process holds a handle or
// a view of it, which is exactly the lifetime the store needs.

namespace VolmTime::Core::Platform {

namespace bip = boost::interprocess;

namespace {

// Boost's texts come from the system's message table and end in a full stop or a line break;
// the caller puts the reason inside its own sentence.
std::string Reason(const bip::interprocess_exception& failure) {
  std::string reason = failure.what();
  while (!reason.empty() &&
         (reason.back() == '\n' || reason.back() == '\r' || reason.back() == ' ')) {
    reason.pop_back();
  }
  return reason;
}

// A null access-control list: every account may open the store, as services and desktop
// programs that share a clock run under different accounts.
const bip::permissions& Unrestricted() {
  static const bip::permissions permissions = [] {
    bip::permissions unrestricted;
    unrestricted.set_unrestricted();
    return unrestricted;
  }();
  return permissions;
}

// Built while the module loads, before any store is made.
[[maybe_unused]] const bip::permissions& gLoadTimePermissions = Unrestricted();

}  // namespace

struct SharedMemoryMapping::Impl {
  // Creates or opens the mapping, read-write and open to everyone.
  Impl(const std::string& mappingName, std::size_t size)
      : name(mappingName),
        writable(true),
        mapping(bip::open_or_create, mappingName.c_str(), bip::read_write, size, Unrestricted()),
        region(mapping, bip::read_write) {}
  // Opens an existing mapping read-only.
  explicit Impl(const std::string& mappingName)
      : name(mappingName),
        writable(false),
        mapping(bip::open_only, mappingName.c_str(), bip::read_only),
        region(mapping, bip::read_only) {}

  std::string name;
  bool writable;
  bip::windows_shared_memory mapping;
  bip::mapped_region region;
};

namespace {

template <typename... Arguments>
std::unique_ptr<SharedMemoryMapping::Impl> MakeMapping(const Arguments&... arguments) {
  if (TakeFault(Faults().failMappings)) {
    throw SharedMemoryError("Not enough memory resources are available to process this command.");
  }
  try {
    return std::make_unique<SharedMemoryMapping::Impl>(arguments...);
  } catch (const bip::interprocess_exception& failure) {
    throw SharedMemoryError(Reason(failure));
  }
}

}  // namespace

SharedMemoryMapping SharedMemoryMapping::CreateOrOpen(const std::string& name, std::size_t size) {
  return SharedMemoryMapping(MakeMapping(name, size));
}

SharedMemoryMapping SharedMemoryMapping::OpenReadOnly(const std::string& name) {
  return SharedMemoryMapping(MakeMapping(name));
}

SharedMemoryMapping::SharedMemoryMapping(std::unique_ptr<Impl> impl) noexcept
    : impl_(std::move(impl)) {}
SharedMemoryMapping::SharedMemoryMapping(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping& SharedMemoryMapping::operator=(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping::~SharedMemoryMapping() = default;

void* SharedMemoryMapping::Address() const noexcept { return impl_->region.get_address(); }
std::size_t SharedMemoryMapping::Size() const noexcept { return impl_->region.get_size(); }
bool SharedMemoryMapping::IsWritable() const noexcept { return impl_->writable; }
const std::string& SharedMemoryMapping::Name() const noexcept { return impl_->name; }

}  // namespace VolmTime::Core::Platform
