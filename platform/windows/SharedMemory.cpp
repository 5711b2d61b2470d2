// SPDX-License-Identifier: MIT
#include "platform/Backend.h"

#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/permissions.hpp>
#include <boost/interprocess/windows_shared_memory.hpp>

#include <memory>

// A named file mapping backed by the paging file lives while any process holds a handle or
// a view of it, which is exactly the lifetime the store needs.

namespace VolmTime::Platform {

namespace bip = boost::interprocess;

namespace {

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

struct WindowsMapping : SharedMemoryMapping::Impl {
  // Creates or opens the mapping, read-write and open to everyone.
  WindowsMapping(const std::string& mappingName, std::size_t size)
      : Impl(mappingName),
        mapping(bip::open_or_create, mappingName.c_str(), bip::read_write, size, Unrestricted()) {
    region = bip::mapped_region(mapping, bip::read_write);
  }
  // Opens an existing mapping read-only.
  explicit WindowsMapping(const std::string& mappingName)
      : Impl(mappingName), mapping(bip::open_only, mappingName.c_str(), bip::read_only) {
    region = bip::mapped_region(mapping, bip::read_only);
  }
  ~WindowsMapping() override { region = bip::mapped_region(); }

  bip::windows_shared_memory mapping;
};

}  // namespace

std::unique_ptr<SharedMemoryMapping::Impl> CreateOrOpenMappingImpl(const std::string& name,
                                                                   std::size_t size) {
  return std::make_unique<WindowsMapping>(name, size);
}

std::unique_ptr<SharedMemoryMapping::Impl> OpenMappingReadOnlyImpl(const std::string& name) {
  return std::make_unique<WindowsMapping>(name);
}

std::string OutOfMemoryReasonImpl() {
  return "Not enough memory resources are available to process this command.";
}

}  // namespace VolmTime::Platform
