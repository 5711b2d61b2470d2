// SPDX-License-Identifier: MIT
// A piecewise-linear correction function in named shared memory, as writer or reader. A
// reader behind named clocks tells the factory when it goes away.
#ifndef VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H
#define VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H

#include "VolmTime/Core/ICorrectionFunctionEventsListener.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "VolmTime/IVolmTimeFactoryCallback.h"
#include "VolmTime/PiecewiseLinearCorrectionFunction.h"

#include <string>

namespace VolmTime {

class PiecewiseLinearCorrectionFunctionSharedMemory
    : public PiecewiseLinearCorrectionFunction,
      public Core::ICorrectionFunctionEventsListener<std::uint64_t, std::uint64_t> {
 public:
  // Throws CVolmException (VOLM_E_FAIL, the core's message) when the store cannot be
  // created or opened.
  PiecewiseLinearCorrectionFunctionSharedMemory(const std::string& name, bool isWriter);
  ~PiecewiseLinearCorrectionFunctionSharedMemory() override;

  // Binds the function to a factory's named clocks: the factory hears of its destruction.
  // Both this and the clearing happen under the module lock.
  void BindToFactory(IVolmTimeFactoryCallback* callback) noexcept;
  void UnbindFromFactory() noexcept;

  // Adds a reference unless the count has already reached 0 (the object is being
  // destroyed). The factory finds functions through a table that holds no references.
  [[nodiscard]] bool TryAddRef() noexcept;

  void OnCorrectionFunctionDestroyed(CorePiecewiseLinear64* function) override;

 private:
  using SharedCore =
      Core::PiecewiseLinearCorrectionFunctionSharedMemory<std::uint64_t, std::uint64_t>;
  explicit PiecewiseLinearCorrectionFunctionSharedMemory(std::unique_ptr<SharedCore> core) noexcept;
  static std::unique_ptr<SharedCore> MakeCore(const std::string& name, bool isWriter);

  SharedCore* sharedCore_;
  IVolmTimeFactoryCallback* callback_ = nullptr;
};

}  // namespace VolmTime

#endif  // VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTIONSHAREDMEMORY_H
