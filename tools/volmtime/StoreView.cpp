// SPDX-License-Identifier: MIT
#include "StoreView.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace {

using VolmTime::CorrectionSample;
using VolmTime::SampleStore;
using VolmTime::SampleStoreHeader;

constexpr std::uint32_t kFlagFull = 1u << 0;
constexpr std::uint32_t kFlagLatestValid = 1u << 1;
constexpr std::uint32_t kLatestSlotBits = VolmTime::kLatestRingSize - 1;

struct Header {
  std::uint32_t version;
  std::uint32_t capacity;
  std::uint64_t countAndFlags;
  std::uint32_t latestSlot;
  bool operator==(const Header&) const = default;
};

// The writer changes the store while the tool reads it: every load is atomic, with acquire,
// so a header read after the samples is not read before them.
template <typename T>
T Load(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}

CorrectionSample LoadSample(const CorrectionSample& slot) {
  return {Load(slot.tick), Load(slot.time), Load(slot.rate)};
}

Header LoadHeader(const SampleStore* store) {
  const std::uint32_t latestSlot = Load(store->header.latestSlot);
  return {Load(store->header.version), Load(store->header.capacity),
          Load(store->header.countAndFlags), latestSlot & kLatestSlotBits};
}

}  // namespace

bool ReadStore(const void* storeBytes, std::size_t maxSamples, StoreContents& contents) {
  const auto* store = static_cast<const SampleStore*>(storeBytes);
  constexpr std::uint32_t capacity = VolmTime::kHistoryCapacity;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    const Header header = LoadHeader(store);
    const auto count = static_cast<std::uint32_t>(header.countAndFlags);
    const auto flags = static_cast<std::uint32_t>(header.countAndFlags >> 32);
    contents.version = header.version;
    contents.capacity = header.capacity;
    contents.count = count;
    contents.full = (flags & kFlagFull) != 0;
    contents.latestValid = (flags & kFlagLatestValid) != 0;
    contents.samples.clear();
    if (!contents.latestValid || maxSamples == 0) return true;
    // The committed history: slots 1 to count - 1 until it is full, then a window that ends
    // at the committed count and leaves out the slots the writer fills next.
    const std::uint32_t first =
        contents.full ? (count + VolmTime::kExcludedHistorySlots) % capacity : 1;
    const std::uint32_t length = contents.full ? capacity - VolmTime::kExcludedHistorySlots
                                               : (count + capacity - 1) % capacity;
    const std::uint32_t taken =
        static_cast<std::uint32_t>(std::min<std::size_t>(length, maxSamples - 1));
    contents.samples.resize(taken + 1);
    for (std::uint32_t i = 0; i < taken; ++i) {
      contents.samples[i] = LoadSample(store->history[(first + length - taken + i) % capacity]);
    }
    contents.samples[taken] = LoadSample(store->latestRing[header.latestSlot]);
    if (LoadHeader(store) == header) return true;
  }
  return false;
}
