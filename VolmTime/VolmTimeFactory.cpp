// SPDX-License-Identifier: MIT
#include "VolmTime/VolmTimeFactory.h"

#include "platform/SystemTime.h"
#include "VolmTime/Core/WindowsCounter.h"
#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/HighResDriverCounterTimerWrapper.h"
#include "VolmTime/LinearCorrectionFunction.h"
#include "VolmTime/Module/ModuleState.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionLocal.h"
#include "VolmTime/PiecewiseLinearCorrectionFunctionSharedMemory.h"
#include "VolmTime/SynchronizedClock.h"
#include "VolmTime/WaitForEvents.h"
#include "framework/ComponentBoundary.h"

#include <memory>
#include <mutex>

namespace VolmTime {

namespace {

constexpr double kTimeUnitsPerSecond = static_cast<double>(VOLM_TIME_UNITS_PER_SECOND);

// Writes `object` with a new reference to `*out`; a null `out` is accepted.
template <typename Interface, typename Object>
void HandOut(const CVolmPtr<Object>& object, Interface** out) {
  if (out == nullptr) return;
  object->AddRef();
  *out = object.Get();
}

}  // namespace

VolmTimeFactory::VolmTimeFactory() {
  CVolmPtr<IHighResolutionCounter2> platformCounter(
      new HighResDriverCounter(std::make_unique<Core::WindowsCounter>()));
  // The platform counter answers these without failing, so the results are not examined.
  std::uint64_t frequency = 0;
  std::uint64_t tick = 0;
  platformCounter->GetFrequency(&frequency);
  platformCounter->GetTick(&tick);
  const std::uint64_t systemTime = Platform::PreciseSystemTime();
  const double rate = kTimeUnitsPerSecond / static_cast<double>(frequency);

  CVolmPtr<LinearCorrectionFunction> relativeCorrection(
      new LinearCorrectionFunction(tick, rate, 0));
  CVolmPtr<LinearCorrectionFunction> systemCorrection(
      new LinearCorrectionFunction(tick, rate, systemTime));

  counter_ = platformCounter;
  bool hasTickTimer = false;
  platformCounter->HasTickTimer(&hasTickTimer);
  if (!hasTickTimer) {
    // The wrapper adds tick timers that convert through the system correction.
    counter_ = new HighResDriverCounterTimerWrapper(platformCounter.Get(), systemCorrection.Get());
  }
  relativeClock_ = new SynchronizedClock(counter_.Get(), relativeCorrection.Get(), false);
  systemClock_ = new SynchronizedClock(counter_.Get(), systemCorrection.Get(), true);
}

VolmTimeFactory::~VolmTimeFactory() {
  std::lock_guard lock(ModuleLock());
  // Named functions may outlive the factory; they must not call back into it.
  for (auto& entry : namedFunctions_) entry.second.function->UnbindFromFactory();
  namedFunctions_.clear();
  systemClock_.Reset();
  relativeClock_.Reset();
  counter_.Reset();
  // A newer factory may already stand in the slot if this one was found dying.
  if (FactorySlot() == this) FactorySlot() = nullptr;
}

std::uint32_t VolmTimeFactory::AddRef() {
  const std::uint32_t count = CVolmUnknownImpl2::AddRef();
  // Set after the increment: a reader that sees the flag and then a count of 0 knows the
  // count has come down again.
  everReferenced_.store(true, std::memory_order_seq_cst);
  return count;
}

bool VolmTimeFactory::IsDying() noexcept {
  if (!everReferenced_.load(std::memory_order_seq_cst)) return false;
  return ReferenceCount() == 0;
}

VolmResult VolmTimeFactory::GetCounter(IHighResolutionCounter** counter) {
  HandOut(counter_, counter);
  return VOLM_S_OK;
}

VolmResult VolmTimeFactory::GetRelativeClock(IClock** clock) {
  HandOut(relativeClock_, clock);
  return VOLM_S_OK;
}

VolmResult VolmTimeFactory::GetSystemClock(IClock** clock) {
  HandOut(systemClock_, clock);
  return VOLM_S_OK;
}

VolmResult VolmTimeFactory::IsCounterAvailable(bool* available) {
  if (available == nullptr) return VOLM_E_POINTER;
  // A failure stays in the counter's last error; the factory reports success regardless.
  counter_->IsAvailable(available);
  return VOLM_S_OK;
}

PiecewiseLinearCorrectionFunctionSharedMemory* VolmTimeFactory::FindNamedFunction(
    const WideString& name) {
  const auto found = namedFunctions_.find(name);
  // A function whose count has reached 0 is being destroyed: its entry counts as absent and
  // is replaced, so the dying function's callback finds no entry of its own to erase.
  if (found != namedFunctions_.end() && found->second.function->TryAddRef()) {
    return found->second.function;
  }
  return nullptr;
}

void VolmTimeFactory::EnterNamedFunction(const WideString& name,
                                         PiecewiseLinearCorrectionFunctionSharedMemory* function) {
  function->BindToFactory(this);
  namedFunctions_.insert_or_assign(name, NamedFunction{function->PrimaryUnknown(), function});
}

VolmResult VolmTimeFactory::CreateSynchronizedClock(const VolmWideChar* name, IClock** clock) {
  if (name == nullptr) return VOLM_E_POINTER;
  return ComponentBoundary(*this, [&] {
    const WideString key(name);
    // Released after the module lock: a store opened by this call but not needed any more,
    // which is bound to nothing.
    CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> opened;
    std::unique_lock lock(ModuleLock());
    CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> function;
    function.Attach(FindNamedFunction(key));
    if (!function) {
      // Opening a store may wait on other processes, which is never done under the module
      // lock. Another thread may open the same name meanwhile; the first one entered is used.
      lock.unlock();
      opened = new PiecewiseLinearCorrectionFunctionSharedMemory(NarrowToLowBytes(key), false);
      lock.lock();
      function.Attach(FindNamedFunction(key));
      if (!function) {
        EnterNamedFunction(key, opened.Get());
        function = opened;
        opened.Reset();
      }
    }
    CVolmPtr<ICorrectionFunction> correction;
    function->QueryInterface(VolmIds().correctionFunction, correction.PutVoid());
    CVolmPtr<IClock> made(new SynchronizedClock(counter_.Get(), correction.Get(), false));
    HandOut(made, clock);
    // Releasing the last reference here (a null `clock`) destroys a new function again;
    // its callback re-enters the module lock on this thread.
  });
}

VolmResult VolmTimeFactory::CreateWaitForEvents(IWaitForEvents** waiter) {
  return ComponentBoundary(*this, [&] {
    CVolmPtr<WaitForEvents> made(new WaitForEvents);
    HandOut(made, waiter);
  });
}

VolmResult VolmTimeFactory::CreateLocalCorrection(IPiecewiseLinearCorrection** function) {
  return ComponentBoundary(*this, [&] {
    CVolmPtr<PiecewiseLinearCorrectionFunctionLocal> made(
        new PiecewiseLinearCorrectionFunctionLocal);
    HandOut(made, function);
  });
}

VolmResult VolmTimeFactory::MakeSharedMemoryCorrection(const VolmWideChar* name, bool isWriter,
                                                       IPiecewiseLinearCorrection** function) {
  if (name == nullptr) return VOLM_E_POINTER;
  return ComponentBoundary(*this, [&] {
    CVolmPtr<PiecewiseLinearCorrectionFunctionSharedMemory> made(
        new PiecewiseLinearCorrectionFunctionSharedMemory(NarrowToLowBytes(name), isWriter));
    HandOut(made, function);
  });
}

VolmResult VolmTimeFactory::OpenSharedMemoryCorrection(const VolmWideChar* name,
                                                       IPiecewiseLinearCorrection** function) {
  return MakeSharedMemoryCorrection(name, false, function);
}

VolmResult VolmTimeFactory::CreateSharedMemoryCorrection(const VolmWideChar* name,
                                                         IPiecewiseLinearCorrection** function) {
  return MakeSharedMemoryCorrection(name, true, function);
}

void VolmTimeFactory::OnCorrectionFunctionDestroyed(IVolmUnknown* function) {
  std::lock_guard lock(ModuleLock());
  for (auto entry = namedFunctions_.begin(); entry != namedFunctions_.end(); ++entry) {
    if (entry->second.identity == function) {
      namedFunctions_.erase(entry);
      return;
    }
  }
}

}  // namespace VolmTime
