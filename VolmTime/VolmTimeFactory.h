// SPDX-License-Identifier: MIT
// The time factory: the one object a host obtains from the module. It makes the default
// counter and clocks once and hands them to every caller, and makes the other objects on
// request.
#ifndef VOLMTIME_VOLMTIMEFACTORY_H
#define VOLMTIME_VOLMTIMEFACTORY_H

#include <VolmTime/IVolmTimeFactory.h>
#include <VolmTime/IVolmTimeFactoryAdvanced.h>

#include "VolmTime/IHighResolutionCounter2.h"
#include "VolmTime/IVolmTimeFactoryCallback.h"
#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"
#include "framework/WideText.h"

#include <atomic>
#include <map>

namespace VolmTime {

class PiecewiseLinearCorrectionFunctionSharedMemory;

class VolmTimeFactory : public CVolmUnknownImpl2<IVolmTimeFactory, IVolmTimeFactoryAdvanced>,
                        public IVolmTimeFactoryCallback {
 public:
  // Reads the platform counter and system time; throws when the counter's frequency cannot
  // be read (the core's exception) or memory runs out.
  VolmTimeFactory();
  ~VolmTimeFactory() override;

  std::uint32_t AddRef() override;

  VolmResult GetCounter(IHighResolutionCounter** counter) override;
  VolmResult GetRelativeClock(IClock** clock) override;
  VolmResult GetSystemClock(IClock** clock) override;
  VolmResult IsCounterAvailable(bool* available) override;
  VolmResult CreateSynchronizedClock(const VolmWideChar* name, IClock** clock) override;
  VolmResult CreateWaitForEvents(IWaitForEvents** waiter) override;

  VolmResult CreateLocalCorrection(IPiecewiseLinearCorrection** function) override;
  VolmResult OpenSharedMemoryCorrection(const VolmWideChar* name,
                                        IPiecewiseLinearCorrection** function) override;
  VolmResult CreateSharedMemoryCorrection(const VolmWideChar* name,
                                          IPiecewiseLinearCorrection** function) override;

  void OnCorrectionFunctionDestroyed(IVolmUnknown* function) override;

  // True once a reference taken on this factory has been given back to 0: it is being
  // destroyed and must not be handed out again. A factory that nobody has referenced yet
  // also has a count of 0 but is alive. Called under the module lock.
  [[nodiscard]] bool IsDying() noexcept;

 private:
  struct NamedFunction {
    IVolmUnknown* identity;
    PiecewiseLinearCorrectionFunctionSharedMemory* function;
  };

  VolmResult MakeSharedMemoryCorrection(const VolmWideChar* name, bool isWriter,
                                        IPiecewiseLinearCorrection** function);
  // The live reader entered for `name`, with one reference for the caller, or null. Called
  // under the module lock.
  PiecewiseLinearCorrectionFunctionSharedMemory* FindNamedFunction(const WideString& name);
  // Enters `function` for `name` (replacing a dying one) and binds it to this factory.
  // Called under the module lock.
  void EnterNamedFunction(const WideString& name,
                          PiecewiseLinearCorrectionFunctionSharedMemory* function);

  CVolmPtr<IHighResolutionCounter2> counter_;
  CVolmPtr<IClock> relativeClock_;
  CVolmPtr<IClock> systemClock_;
  // Guarded by the module lock; holds no references.
  std::map<WideString, NamedFunction> namedFunctions_;
  std::atomic<bool> everReferenced_{false};
};

}  // namespace VolmTime

#endif  // VOLMTIME_VOLMTIMEFACTORY_H
