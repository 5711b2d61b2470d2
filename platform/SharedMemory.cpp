// SPDX-License-Identifier: MIT
#include "platform/SharedMemory.h"

#include "platform/Backend.h"
#include "platform/FaultInjection.h"

#include <boost/interprocess/exceptions.hpp>

#include <utility>

namespace VolmTime::Platform {

namespace {

// Boost's texts are the system's messages, some ending in a line break; the caller puts the
// reason inside its own sentence.
std::string Trimmed(std::string reason) {
  while (!reason.empty() &&
         (reason.back() == '\n' || reason.back() == '\r' || reason.back() == ' ')) {
    reason.pop_back();
  }
  return reason;
}

template <typename Open, typename... Arguments>
std::unique_ptr<SharedMemoryMapping::Impl> MakeMapping(Open open, const Arguments&... arguments) {
  if (TakeFault(Faults().failMappings)) throw SharedMemoryError(OutOfMemoryReasonImpl());
  try {
    return open(arguments...);
  } catch (const boost::interprocess::interprocess_exception& failure) {
    throw SharedMemoryError(Trimmed(failure.what()));
  }
}

}  // namespace

SharedMemoryMapping SharedMemoryMapping::CreateOrOpen(const std::string& name, std::size_t size) {
  return SharedMemoryMapping(MakeMapping(CreateOrOpenMappingImpl, name, size));
}

SharedMemoryMapping SharedMemoryMapping::OpenReadOnly(const std::string& name) {
  return SharedMemoryMapping(MakeMapping(OpenMappingReadOnlyImpl, name));
}

SharedMemoryMapping::SharedMemoryMapping(std::unique_ptr<Impl> impl) noexcept
    : impl_(std::move(impl)) {}
SharedMemoryMapping::SharedMemoryMapping(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping& SharedMemoryMapping::operator=(SharedMemoryMapping&&) noexcept = default;
SharedMemoryMapping::~SharedMemoryMapping() = default;

void* SharedMemoryMapping::Address() const noexcept { return impl_->region.get_address(); }
std::size_t SharedMemoryMapping::Size() const noexcept { return impl_->region.get_size(); }

}  // namespace VolmTime::Platform
