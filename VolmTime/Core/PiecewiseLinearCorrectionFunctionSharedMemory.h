// SPDX-License-Identifier: MIT
// A piecewise-linear correction function whose store lies in named shared memory: one
// process writes it, any number of processes read it without locks.
#ifndef VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H
#define VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H

#include "VolmTime/Core/ICorrectionFunctionEventsListener.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"
#include "platform/SharedMemory.h"

#include <string>

namespace VolmTime::Core {

template <typename Tick, typename Time>
class PiecewiseLinearCorrectionFunctionSharedMemory
    : public PiecewiseLinearCorrectionFunction<Tick, Time> {
 public:
  // A writer creates the named store (or takes over an existing one) and publishes an empty
  // function; a reader opens an existing store read-only. Throws CException with
  // "The shared memory >name< is not available (reason)." or, for a reader of a store of
  // another layout, "Memory layout version mismatch.". A reader that finds the version still
  // 0, as a writer leaves it for a moment after creating the store, waits up to 250 ms for it.
  PiecewiseLinearCorrectionFunctionSharedMemory(const std::string& name, bool isWriter);
  // Tells the listener first, then lets go of the store.
  ~PiecewiseLinearCorrectionFunctionSharedMemory() override;

  // Not owned; null for none.
  void SetListener(ICorrectionFunctionEventsListener<Tick, Time>* listener) noexcept {
    listener_ = listener;
  }

  [[nodiscard]] const std::string& Name() const noexcept { return name_; }

 private:
  static Platform::SharedMemoryMapping Map(const std::string& name, bool isWriter);

  Platform::SharedMemoryMapping mapping_;
  std::string name_;
  ICorrectionFunctionEventsListener<Tick, Time>* listener_ = nullptr;
};

extern template class PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;

}  // namespace VolmTime::Core

#endif  // VOLMTIME_CORE_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H
