// SPDX-License-Identifier: MIT
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"

#include "VolmTime/Core/CException.h"

#include <chrono>
#include <thread>

namespace VolmTime::Core {

namespace {

// Both platforms read a mapping name up to its first NUL, so that is the name a store has.
std::string UpToFirstNul(const std::string& name) { return name.substr(0, name.find('\0')); }

[[noreturn]] void NotAvailable(const std::string& name, const std::string& reason) {
  WideString message = VOLM_TEXT("The shared memory >");
  message += WidenBytes(name);
  message += VOLM_TEXT("< is not available (");
  message += WidenBytes(reason);
  message += VOLM_TEXT(").");
  throw CException(message);
}

// A writer's mapping starts zero-filled and gets its version when the writer resets it, a
// moment after creating it: a reader that opens it in between sees 0. Such a store is given a
// short while to be set up; any other version is another layout at once.
constexpr auto kSetupPatience = std::chrono::milliseconds(250);

bool HasCurrentLayout(const SampleStore& store) {
  const auto deadline = std::chrono::steady_clock::now() + kSetupPatience;
  for (;;) {
    const std::uint32_t version = LoadShared(store.header.version, std::memory_order_acquire);
    if (version != 0 || std::chrono::steady_clock::now() >= deadline)
      return version == kSampleStoreVersion;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace

template <typename Tick, typename Time>
Platform::SharedMemoryMapping PiecewiseLinearCorrectionFunctionSharedMemory<Tick, Time>::Map(
    const std::string& name, bool isWriter) {
  // An empty name means an unnamed mapping, which no second process could find.
  if (name.empty()) NotAvailable(name, "the name is empty");
  try {
    Platform::SharedMemoryMapping mapping =
        isWriter ? Platform::SharedMemoryMapping::CreateOrOpen(name, kSampleStoreSize)
                 : Platform::SharedMemoryMapping::OpenReadOnly(name);
    // Another program may have made a smaller object of this name; reading past its end
    // would fault.
    if (mapping.Size() < kSampleStoreSize) {
      NotAvailable(name, "it holds " + std::to_string(mapping.Size()) + " bytes, a store needs " +
                             std::to_string(kSampleStoreSize));
    }
    return mapping;
  } catch (const Platform::SharedMemoryError& failure) {
    NotAvailable(name, failure.what());
  }
}

template <typename Tick, typename Time>
PiecewiseLinearCorrectionFunctionSharedMemory<
    Tick, Time>::PiecewiseLinearCorrectionFunctionSharedMemory(const std::string& name,
                                                               bool isWriter)
    : PiecewiseLinearCorrectionFunction<Tick, Time>(isWriter),
      mapping_(Map(UpToFirstNul(name), isWriter)),
      name_(UpToFirstNul(name)) {
  auto* store = static_cast<SampleStore*>(mapping_.Address());
  if (!isWriter && !HasCurrentLayout(*store)) {
    throw CException(VOLM_TEXT("Memory layout version mismatch."));
  }
  this->AttachStore(store);
  if (isWriter) this->Reset();
}

template <typename Tick, typename Time>
PiecewiseLinearCorrectionFunctionSharedMemory<
    Tick, Time>::~PiecewiseLinearCorrectionFunctionSharedMemory() {
  if (listener_ != nullptr) listener_->OnCorrectionFunctionDestroyed(this);
}

template class PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core
