// SPDX-License-Identifier: MIT
#include "tests/support/ForeignStore.h"

#include <boost/interprocess/mapped_region.hpp>
#if defined(_WIN32)
#include <boost/interprocess/windows_shared_memory.hpp>
using StoreObject = boost::interprocess::windows_shared_memory;
#else
#include <boost/interprocess/shared_memory_object.hpp>
using StoreObject = boost::interprocess::shared_memory_object;
#endif

#include <atomic>

namespace bip = boost::interprocess;

struct ForeignStore::Impl {
  Impl(const std::string& name, bip::mode_t mode)
      : object(bip::open_only, name.c_str(), mode), region(object, mode) {}

  StoreObject object;
  bip::mapped_region region;
};

ForeignStore::ForeignStore(const std::string& name, bool writable)
    : impl_(std::make_unique<Impl>(name, writable ? bip::read_write : bip::read_only)) {}

ForeignStore::~ForeignStore() = default;

VolmTime::SampleStore& ForeignStore::Store() const {
  return *static_cast<VolmTime::SampleStore*>(impl_->region.get_address());
}

void ForeignStore::Publish(std::uint32_t count, std::uint32_t flags,
                           std::uint32_t latestSlot) const {
  VolmTime::SampleStoreHeader& header = Store().header;
  std::atomic_ref<std::uint64_t>(header.countAndFlags)
      .store(count | (std::uint64_t{flags} << 32), std::memory_order_release);
  std::atomic_ref<std::uint32_t>(header.latestSlot).store(latestSlot, std::memory_order_release);
}
