// SPDX-License-Identifier: MIT
// Access to a sample store that other threads and processes share.
#ifndef VOLMTIME_CORE_SAMPLESTORE_H
#define VOLMTIME_CORE_SAMPLESTORE_H

#include <VolmTime/VolmSampleStore.h>

#include <atomic>
#include <cstdint>

namespace VolmTime::Core {

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

// What one Publish made visible: latestSlot is loaded before countAndFlags, the reverse of
// the order Publish stores them, so a reader never pairs a new latest sample with an older
// count (it may pair a new count with the previous latest sample, which the lookup takes
// as the same sample twice).
struct PublishedHeader {
  std::uint32_t latestSlot;
  std::uint64_t countAndFlags;

  bool operator==(const PublishedHeader&) const = default;
};

[[gnu::always_inline]] inline PublishedHeader ReadHeader(const SampleStore& store) noexcept {
  const std::uint32_t latestSlot = LoadShared(store.header.latestSlot, std::memory_order_acquire);
  return {latestSlot, LoadShared(store.header.countAndFlags, std::memory_order_acquire)};
}

// Whether a view read under `before` can have been overwritten by the time the header reads
// `after`. The writer overwrites a published view's slots only from its 16th append after
// that Publish on, and samples are stored with release and loaded with acquire: a reader
// that loaded an overwritten sample sees the Publishes that came before the overwrite. A
// writer that publishes at least every 8 appends has by then moved count or latestSlot on
// by 8 or more; fewer steps than that leave the view intact, and an unchanged header means
// nothing newer was published. This check lives in the reader alone and changes no answer
// while the store stands still.
inline constexpr std::uint32_t kStepsAViewSurvives = 7;

[[gnu::always_inline]] inline bool ViewSurvived(const PublishedHeader& before,
                                                const PublishedHeader& after) noexcept {
  if (before == after) return true;
  const std::uint32_t commits = CountOf(after.countAndFlags) - CountOf(before.countAndFlags);
  const std::uint32_t slotSteps = (after.latestSlot - before.latestSlot) & kLatestSlotMask;
  return commits <= kStepsAViewSurvives && slotSteps <= kStepsAViewSurvives;
}

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_SAMPLESTORE_H
