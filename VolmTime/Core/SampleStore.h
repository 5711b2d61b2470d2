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

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_SAMPLESTORE_H
