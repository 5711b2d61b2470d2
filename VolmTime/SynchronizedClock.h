// A clock: the counter's current tick mapped through a correction function, or the
// platform's system time.
#ifndef VOLMTIME_SYNCHRONIZEDCLOCK_H
#define VOLMTIME_SYNCHRONIZEDCLOCK_H

#include <VolmTime/IClock.h>

#include "VolmTime/ICorrectionFunction2.h"
#include "VolmTime/IHighResolutionCounter2.h"
#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"

namespace VolmTime {

class SynchronizedClock : public CVolmUnknownImpl1<IClock> {
 public:
  SynchronizedClock(IHighResolutionCounter2* counter, ICorrectionFunction* correction,
                    bool isSystemTime) noexcept;
  ~SynchronizedClock() override;

  VolmResult CreateTimer(IWaitableTimer** timer) override;
  VolmResult SleepTime(const std::uint64_t& duration) override;
  VolmResult GetTime(std::uint64_t* time) override;
  VolmResult IsSystemTime(bool* isSystemTime) override;
  VolmResult GetCorrectionFunction(ICorrectionFunction** function) override;
  VolmResult TryGetTime(bool* valid, std::uint64_t* time) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  // Reads the current time; on a failure of the correction function its error is copied
  // into this clock's last error. Returns the failure code.
  VolmResult ReadTime(std::uint64_t* time) noexcept;

  CVolmPtr<IHighResolutionCounter2> counter_;
  CVolmPtr<ICorrectionFunction> correction_;
  const bool isSystemTime_;
  // The cores behind the two components, kept alive by them, for readings that skip the
  // component layer; null when a component does not offer its core.
  Core::IHighResolutionCounter* coreCounter_ = nullptr;
  Core::CorrectionFunction64* coreFunction_ = nullptr;
};

}  // namespace VolmTime

#endif  // VOLMTIME_SYNCHRONIZEDCLOCK_H
