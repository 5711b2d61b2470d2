// SPDX-License-Identifier: MIT
// The tick timer as a component: a core tick timer over the core counter and the core
// correction function of the components it keeps alive.
#ifndef VOLMTIME_WINDOWSWAITABLETICKTIMER_H
#define VOLMTIME_WINDOWSWAITABLETICKTIMER_H

#include <VolmTime/IWaitableTickTimer.h>

#include "VolmTime/Core/WindowsWaitableTickTimer.h"
#include "VolmTime/ICorrectionFunction2.h"
#include "VolmTime/IHighResolutionCounter2.h"
#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"

#include <memory>

namespace VolmTime {

class WindowsWaitableTickTimer : public CVolmUnknownImpl1<IWaitableTickTimer> {
 public:
  // Both must be non-null (CVolmException otherwise). The correction function maps the
  // counter's ticks to the system time.
  WindowsWaitableTickTimer(IHighResolutionCounter2* counter, ICorrectionFunction2* correction,
                           Core::ITickTimerPlatform& platform = Core::SystemTickTimerPlatform());
  ~WindowsWaitableTickTimer() override;

  VolmResult GetHandle(VolmHandle* handle) override;
  VolmResult Wait(std::uint32_t timeoutMs, std::int32_t* outcome) override;
  VolmResult SetAbsolute(std::uint64_t tick) override;
  VolmResult SetRelative(std::uint64_t ticks) override;
  VolmResult SetPeriodic(std::uint64_t ticks) override;
  VolmResult Cancel() override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  using CoreTimer = Core::WindowsWaitableTickTimer<std::uint64_t, std::uint64_t>;

  CVolmPtr<IHighResolutionCounter2> counter_;
  CVolmPtr<ICorrectionFunction2> correction_;
  std::unique_ptr<CoreTimer> core_;
};

}  // namespace VolmTime

#endif  // VOLMTIME_WINDOWSWAITABLETICKTIMER_H
