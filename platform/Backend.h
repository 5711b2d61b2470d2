// SPDX-License-Identifier: MIT
// The per-platform hooks behind the platform layer's shared front files. Each backend
// (linux/, windows/) defines them with the system calls alone; the front files (Counter.cpp,
// Event.cpp, Timer.cpp, Wait.cpp, SharedMemory.cpp) own the argument checks and the fault
// injection, once for both. Private to the platform layer.
#ifndef VOLMTIME_PLATFORM_BACKEND_H
#define VOLMTIME_PLATFORM_BACKEND_H

#include "platform/ScopedHandle.h"
#include "platform/SharedMemory.h"

#include <boost/interprocess/mapped_region.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace VolmTime::Platform {

[[nodiscard]] bool ReadTickImpl(std::uint64_t& tick) noexcept;
[[nodiscard]] bool ReadTickFrequencyImpl(std::uint64_t& frequency) noexcept;

[[nodiscard]] UniqueHandle CreateAutoResetEventImpl() noexcept;

[[nodiscard]] UniqueHandle CreateWaitableTimerImpl(bool manualReset) noexcept;
// periodMs is 0 or more.
[[nodiscard]] bool ArmWaitableTimerImpl(NativeHandle timer, std::int64_t dueTime,
                                        std::int32_t periodMs) noexcept;

// handles is not null; count is 1 to kMaximumWaitObjects.
[[nodiscard]] std::uint32_t WaitForManyImpl(const NativeHandle* handles, std::uint32_t count,
                                            bool waitAll, std::uint32_t timeoutMs) noexcept;

// What every backend's mapping has; a backend derives what it needs to hold besides.
struct SharedMemoryMapping::Impl {
  explicit Impl(std::string storeName) : name(std::move(storeName)) {}
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  virtual ~Impl() = default;

  std::string name;
  boost::interprocess::mapped_region region;
};

// Both throw SharedMemoryError or Boost.Interprocess's exception.
[[nodiscard]] std::unique_ptr<SharedMemoryMapping::Impl> CreateOrOpenMappingImpl(
    const std::string& name, std::size_t size);
[[nodiscard]] std::unique_ptr<SharedMemoryMapping::Impl> OpenMappingReadOnlyImpl(
    const std::string& name);
// The system's own words for running out of memory.
[[nodiscard]] std::string OutOfMemoryReasonImpl();

}  // namespace VolmTime::Platform

#endif  // VOLMTIME_PLATFORM_BACKEND_H
