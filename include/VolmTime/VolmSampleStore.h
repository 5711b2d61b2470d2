// The byte layout of a shared correction function's store, for hosts that look at a store
// directly (the volmtime tool's inspect does). Little-endian, fixed offsets, the same on
// Windows and Linux. Only one writer changes a store; see the library's documentation for
// how a reader reads it without a lock.
#ifndef VOLMTIME_VOLMSAMPLESTORE_H
#define VOLMTIME_VOLMSAMPLESTORE_H

#include <bit>
#include <cstddef>
#include <cstdint>

namespace VolmTime {

static_assert(std::endian::native == std::endian::little, "the store layout is little-endian");

struct CorrectionSample {
  std::uint64_t tick;
  std::uint64_t time;
  // Time units per tick; 0.0 marks a segment on which the function is not defined.
  double rate;
};

static_assert(sizeof(CorrectionSample) == 24);
static_assert(offsetof(CorrectionSample, tick) == 0);
static_assert(offsetof(CorrectionSample, time) == 8);
static_assert(offsetof(CorrectionSample, rate) == 16);

inline constexpr std::uint32_t kSampleStoreVersion = 2;
inline constexpr std::uint32_t kHistoryCapacity = 524'288;
inline constexpr std::uint32_t kLatestRingSize = 16;
// The history counts as full this many slots short of its capacity.
inline constexpr std::uint32_t kFullThreshold = kHistoryCapacity - kLatestRingSize;
// Slots after the last committed one that a full window never reads: the writer overwrites
// them next.
inline constexpr std::uint32_t kExcludedHistorySlots = 17;

inline constexpr std::uint32_t kFlagFull = 1u << 0;
inline constexpr std::uint32_t kFlagLatestValid = 1u << 1;
inline constexpr std::uint32_t kLatestSlotMask = kLatestRingSize - 1;

// This writer stamps each Publish with its append generation, 28 bits of it, in bits the
// layout reserves: flags bits 2 to 29 and latestSlot bits 4 to 31. A reader that finds the
// two stamps equal read count, flags and latest slot of one Publish; a writer that leaves
// the bits zero simply never lets a reader retry.
inline constexpr std::uint32_t kPublishStampMask = (1u << 28) - 1;
inline constexpr int kFlagsStampShift = 2;
inline constexpr int kLatestSlotStampShift = 4;

constexpr std::uint32_t StampOfFlags(std::uint32_t flags) noexcept {
  return (flags >> kFlagsStampShift) & kPublishStampMask;
}
constexpr std::uint32_t StampOfLatestSlot(std::uint32_t latestSlot) noexcept {
  return (latestSlot >> kLatestSlotStampShift) & kPublishStampMask;
}

struct SampleStoreHeader {
  std::uint32_t version;
  std::uint32_t capacity;
  // count (low half) and flags (high half), written together by one 64-bit store.
  std::uint64_t countAndFlags;
  std::uint32_t latestSlot;
  // Reserved in the layout; this writer counts its appends here (modulo 2^32), so that its
  // readers can tell how many samples were overwritten since the Publish they read. Readers
  // and writers that leave the field alone still work with ours.
  std::uint32_t appendGeneration;
};

static_assert(sizeof(SampleStoreHeader) == 24);
static_assert(offsetof(SampleStoreHeader, version) == 0);
static_assert(offsetof(SampleStoreHeader, capacity) == 4);
static_assert(offsetof(SampleStoreHeader, countAndFlags) == 8);
static_assert(offsetof(SampleStoreHeader, latestSlot) == 16);
static_assert(offsetof(SampleStoreHeader, appendGeneration) == 20);

struct SampleStore {
  SampleStoreHeader header;
  CorrectionSample latestRing[kLatestRingSize];
  CorrectionSample history[kHistoryCapacity];
};

inline constexpr std::size_t kSampleStoreSize = 12'583'320;
static_assert(sizeof(SampleStore) == kSampleStoreSize);
static_assert(offsetof(SampleStore, latestRing) == 24);
static_assert(offsetof(SampleStore, history) == 408);

}  // namespace VolmTime

#endif  // VOLMTIME_VOLMSAMPLESTORE_H
