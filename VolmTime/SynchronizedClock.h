// SPDX-License-Identifier: MIT
// A clock: the counter's current tick mapped through a correction function, or the
// platform's system time.
#ifndef VOLMTIME_SYNCHRONIZEDCLOCK_H
#define VOLMTIME_SYNCHRONIZEDCLOCK_H

#include <VolmTime/IClock.h>

#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunction.h"
#include "VolmTime/ICorrectionFunction2.h"
#include "VolmTime/IHighResolutionCounter2.h"
#include "framework/CVolmPtr.h"
#include "framework/CVolmUnknownImpl.h"

#include <optional>

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
  // GetTime's reading where it does not answer inline: `tick` is the counter's reading when
  // `haveTick`, which is false when the counter was not read or failed. Sets `time` on success
  // only. The tick goes by value, so that the inline path keeps it in a register.
  [[gnu::noinline]] VolmResult FinishReading(bool haveTick, std::uint64_t tick,
                                             std::uint64_t* time) noexcept;
  // The tick converted by the core function; on a failure, the whole reading through the
  // components.
  [[gnu::noinline]] VolmResult ConvertThroughCore(std::uint64_t tick, std::uint64_t* time) noexcept;
  // The reading through the components, which report a failure the documented way.
  [[gnu::noinline]] VolmResult ReadTimeThroughComponents(std::uint64_t* time) noexcept;

  CVolmPtr<IHighResolutionCounter2> counter_;
  CVolmPtr<ICorrectionFunction> correction_;
  const bool isSystemTime_;
  // The cores behind the two components, kept alive by them, for readings that skip the
  // component layer; null when a component does not offer its core.
  Core::IHighResolutionCounter* coreCounter_ = nullptr;
  Core::CorrectionFunction64* coreFunction_ = nullptr;
  // What a reading needs when the counter is the platform counter (read straight from the
  // platform) and the function one of the usual ones, so that it makes no virtual call: a
  // copy of a linear function (it never changes), or the piecewise-linear function whose
  // latest segment and the one before it are answered inline.
  enum class FastPath : unsigned char { kNone, kLinear, kLastSegments };
  FastPath fastPath_ = FastPath::kNone;
  std::optional<Core::LinearCorrectionFunction<std::uint64_t, std::uint64_t>> linear_;
  const Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>* piecewise_ = nullptr;
};

}  // namespace VolmTime

#endif  // VOLMTIME_SYNCHRONIZEDCLOCK_H
