// The byte layout of a piecewise-linear correction function's samples, shared between
// processes and between the Windows and Linux builds: little-endian, fixed offsets.
#ifndef VOLMTIME_CORE_SAMPLESTORE_H
#define VOLMTIME_CORE_SAMPLESTORE_H

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace VolmTime::Core {

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

constexpr std::uint64_t PackCountAndFlags(std::uint32_t count, std::uint32_t flags) noexcept {
  return static_cast<std::uint64_t>(count) | (static_cast<std::uint64_t>(flags) << 32);
}
constexpr std::uint32_t CountOf(std::uint64_t countAndFlags) noexcept {
  return static_cast<std::uint32_t>(countAndFlags);
}
constexpr std::uint32_t FlagsOf(std::uint64_t countAndFlags) noexcept {
  return static_cast<std::uint32_t>(countAndFlags >> 32);
}

// Every access to a store that another thread or process may touch at the same time goes
// through these, so the sharing is free of data races. On x86-64 the loads and stores are
// plain moves.
template <typename T>
T LoadShared(const T& field, std::memory_order order) noexcept {
  static_assert(std::atomic_ref<T>::is_always_lock_free);
  return std::atomic_ref<T>(const_cast<T&>(field)).load(order);
}

template <typename T>
void StoreShared(T& field, T value, std::memory_order order) noexcept {
  std::atomic_ref<T>(field).store(value, order);
}

// Samples are stored with release and loaded with acquire: a reader that sees a sample the
// writer overwrote also sees everything the writer did before, the raised append generation
// above all.
inline CorrectionSample LoadSample(const CorrectionSample& slot) noexcept {
  return {LoadShared(slot.tick, std::memory_order_acquire),
          LoadShared(slot.time, std::memory_order_acquire),
          LoadShared(slot.rate, std::memory_order_acquire)};
}

inline void StoreSample(CorrectionSample& slot, const CorrectionSample& sample) noexcept {
  StoreShared(slot.tick, sample.tick, std::memory_order_release);
  StoreShared(slot.time, sample.time, std::memory_order_release);
  StoreShared(slot.rate, sample.rate, std::memory_order_release);
}

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_SAMPLESTORE_H
