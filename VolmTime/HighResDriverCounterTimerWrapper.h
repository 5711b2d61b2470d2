// SPDX-License-Identifier: MIT
// A counter component around another one that adds tick timers converting through a
// correction function to the system time. Everything else is forwarded.
#ifndef VOLMTIME_HIGHRESDRIVERCOUNTERTIMERWRAPPER_H
#define VOLMTIME_HIGHRESDRIVERCOUNTERTIMERWRAPPER_H

#include "VolmTime/ICorrectionFunction2.h"
#include "VolmTime/IHighResolutionCounter2.h"
#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"

namespace VolmTime {

class HighResDriverCounterTimerWrapper : public CVolmUnknownImpl1<IHighResolutionCounter2> {
 public:
  // Both must be non-null (CVolmException otherwise).
  HighResDriverCounterTimerWrapper(IHighResolutionCounter2* inner,
                                   ICorrectionFunction2* correction);
  ~HighResDriverCounterTimerWrapper() override;

  VolmResult GetName(IVolmWideCharString** name) override;
  VolmResult CreateTickTimer(IWaitableTickTimer** timer) override;
  VolmResult SleepTick(std::uint64_t ticks) override;
  VolmResult GetFrequency(std::uint64_t* ticksPerSecond) override;
  VolmResult GetTick(std::uint64_t* tick) override;
  VolmResult IsAvailable(bool* available) override;
  VolmResult HasTickTimer(bool* hasTickTimer) override;
  VolmResult SpinTick(std::uint64_t ticks) override;
  VolmResult GetCoreCounter(Core::IHighResolutionCounter** core) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  CVolmPtr<IHighResolutionCounter2> inner_;
  CVolmPtr<ICorrectionFunction2> correction_;
};

}  // namespace VolmTime

#endif  // VOLMTIME_HIGHRESDRIVERCOUNTERTIMERWRAPPER_H
