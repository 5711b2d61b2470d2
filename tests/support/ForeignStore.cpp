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
#include <vector>

namespace bip = boost::interprocess;

// Built in place: moving a mapping object into a member leaves the compiler unsure that a
// moved-from Windows mapping's mode was set.
struct ForeignStore::Impl {
  Impl(const std::string& name, bip::mode_t mode)
      : object(bip::open_only, name.c_str(), mode), region(object, mode) {}
  StoreObject object;
  bip::mapped_region region;
};

ForeignStore::ForeignStore(const std::string& name, bool writable)
    : impl_(new Impl(name, writable ? bip::read_write : bip::read_only)) {}

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

bool ForeignStore::TickToTime(std::uint64_t tick, std::uint64_t& time) const {
  const VolmTime::SampleStore& store = Store();
  const std::uint32_t slot = store.header.latestSlot & VolmTime::kLatestSlotMask;
  const auto count = static_cast<std::uint32_t>(store.header.countAndFlags);
  const auto flags = static_cast<std::uint32_t>(store.header.countAndFlags >> 32);
  if ((flags & VolmTime::kFlagLatestValid) == 0) return false;
  std::vector<VolmTime::CorrectionSample> sequence;
  const std::uint32_t first = (flags & VolmTime::kFlagFull) != 0
                                  ? count + VolmTime::kExcludedHistorySlots
                                  : 1;
  for (std::uint32_t i = first; i % VolmTime::kHistoryCapacity !=
                                count % VolmTime::kHistoryCapacity;
       ++i) {
    sequence.push_back(store.history[i % VolmTime::kHistoryCapacity]);
  }
  sequence.push_back(store.latestRing[slot]);
  const VolmTime::CorrectionSample* found = nullptr;
  for (const auto& sample : sequence) {
    if (sample.tick <= tick) found = &sample;
  }
  if (found == nullptr || found->rate == 0.0) return false;
  time = found->time + static_cast<std::uint64_t>(static_cast<double>(tick - found->tick) *
                                                  found->rate);
  return true;
}
