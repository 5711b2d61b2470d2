// SPDX-License-Identifier: MIT
// The byte layout of a shared correction function's store, for hosts that map a store
// themselves (the volmtime tool's inspect does). Little-endian, fixed offsets, the same on
// Windows and Linux.
//
// A foreign writer works with the library's readers, and a foreign reader with the
// library's writer, when it keeps to these rules:
// - Only the writer writes. It may write version, capacity, countAndFlags, latestSlot and
//   every sample slot; it leaves `reserved`, flags bits 2 to 31 and latestSlot bits 4 to 31
//   zero, and readers ignore them.
// - The writer fills sample slots first and then publishes: countAndFlags as one 64-bit
//   store, then latestSlot as one 32-bit store, both with release ordering (plain stores on
//   x86-64). Appending never touches the header.
// - A reader loads latestSlot, then countAndFlags (acquire), then the samples they designate.
//   The view stays intact while the writer appends fewer than 16 samples: the latest ring
//   holds 16 samples, and a full window skips the 17 history slots written next.
// - Readers map the store read-only and never write it.
// - A new store is zero-filled until its writer sets up the header; the library's readers
//   wait up to 250 ms for a version of 0 to change.
// On Linux the object is created with mode 0644: its owner's account writes, every account
// reads. The processes of the owner's account that hold a store keep open-file-description
// read locks (F_OFD_SETLK) on byte 0 of its lock file, /dev/shm/.volmtime-UID/NAME (UID the
// owner's, folder 0700, file 0600), while they hold it; a store nobody locks so is
// abandoned, and the library's next opener removes it or sets it up anew. Whoever opens a
// store write-locks byte 1 of the lock file while it checks and joins. A host of another
// account cannot open the lock file: it maps the store without taking part.
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

struct SampleStoreHeader {
  std::uint32_t version;
  std::uint32_t capacity;
  // count (low half) and flags (high half), written together by one 64-bit store.
  std::uint64_t countAndFlags;
  // Bits 0 to 3 index the latest ring; the writer leaves the other bits zero.
  std::uint32_t latestSlot;
  std::uint32_t reserved;
};

static_assert(sizeof(SampleStoreHeader) == 24);
static_assert(offsetof(SampleStoreHeader, version) == 0);
static_assert(offsetof(SampleStoreHeader, capacity) == 4);
static_assert(offsetof(SampleStoreHeader, countAndFlags) == 8);
static_assert(offsetof(SampleStoreHeader, latestSlot) == 16);
static_assert(offsetof(SampleStoreHeader, reserved) == 20);

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
