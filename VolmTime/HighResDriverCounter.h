// SPDX-License-Identifier: MIT
// The platform counter as a component: every operation forwarded to the core counter it
// owns, the core's failures turned into error objects.
#ifndef VOLMTIME_HIGHRESDRIVERCOUNTER_H
#define VOLMTIME_HIGHRESDRIVERCOUNTER_H

#include "VolmTime/IHighResolutionCounter2.h"
#include "framework/CVolmUnknownImpl.h"

#include <memory>

namespace VolmTime {

class HighResDriverCounter : public CVolmUnknownImpl1<IHighResolutionCounter2> {
 public:
  explicit HighResDriverCounter(std::unique_ptr<Core::IHighResolutionCounter> core) noexcept
      : core_(std::move(core)) {}

  VolmResult GetName(IVolmWideCharString** name) override;
  // Makes nothing: this counter's core has no tick timers. VOLM_S_FALSE, out value untouched.
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
  std::unique_ptr<Core::IHighResolutionCounter> core_;
};

// The answer both counter components give to QueryOwnInterface.
VolmResult QueryCounterInterface(IHighResolutionCounter2* counter, const VolmId& id, void** object);

}  // namespace VolmTime

#endif  // VOLMTIME_HIGHRESDRIVERCOUNTER_H
