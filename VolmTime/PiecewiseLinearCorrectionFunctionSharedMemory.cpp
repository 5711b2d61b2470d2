// SPDX-License-Identifier: MIT
#include "VolmTime/PiecewiseLinearCorrectionFunctionSharedMemory.h"

#include "VolmTime/Core/CException.h"
#include "VolmTime/Module/ModuleState.h"
#include "framework/CVolmException.h"

#include <mutex>

namespace VolmTime {

std::unique_ptr<PiecewiseLinearCorrectionFunctionSharedMemory::SharedCore>
PiecewiseLinearCorrectionFunctionSharedMemory::MakeCore(const std::string& name, bool isWriter) {
  try {
    return std::make_unique<SharedCore>(name, isWriter);
  } catch (const Core::CException& failure) {
    // Reported by the creating factory operation, with the core's message.
    throw CVolmException(VOLM_E_FAIL, failure.Message());
  }
}

PiecewiseLinearCorrectionFunctionSharedMemory::PiecewiseLinearCorrectionFunctionSharedMemory(
    const std::string& name, bool isWriter)
    : PiecewiseLinearCorrectionFunctionSharedMemory(MakeCore(name, isWriter)) {}

PiecewiseLinearCorrectionFunctionSharedMemory::PiecewiseLinearCorrectionFunctionSharedMemory(
    std::unique_ptr<SharedCore> core) noexcept
    : PiecewiseLinearCorrectionFunction(nullptr), sharedCore_(core.get()) {
  AdoptCore(std::move(core));
}

PiecewiseLinearCorrectionFunctionSharedMemory::~PiecewiseLinearCorrectionFunctionSharedMemory() {
  DestroyCore();
}

void PiecewiseLinearCorrectionFunctionSharedMemory::BindToFactory(
    IVolmTimeFactoryCallback* callback) noexcept {
  std::lock_guard lock(ModuleLock());
  callback_ = callback;
  sharedCore_->SetListener(this);
}

void PiecewiseLinearCorrectionFunctionSharedMemory::UnbindFromFactory() noexcept {
  std::lock_guard lock(ModuleLock());
  callback_ = nullptr;
}

bool PiecewiseLinearCorrectionFunctionSharedMemory::TryAddRef() noexcept {
  return TryAddReference();
}

void PiecewiseLinearCorrectionFunctionSharedMemory::OnCorrectionFunctionDestroyed(
    CorePiecewiseLinear64* /*function*/) {
  // The factory clears the callback under the same lock before it goes away.
  std::lock_guard lock(ModuleLock());
  if (callback_ != nullptr) callback_->OnCorrectionFunctionDestroyed(PrimaryUnknown());
}

}  // namespace VolmTime
