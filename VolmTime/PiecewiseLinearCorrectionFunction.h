// SPDX-License-Identifier: MIT
// The component base of the piecewise-linear correction functions: result codes and error
// objects around a core function that it owns.
#ifndef VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTION_H
#define VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTION_H

#include "VolmTime/Core/IPiecewiseLinearCorrection.h"
#include "VolmTime/IPiecewiseLinearCorrection2.h"
#include "framework/CVolmUnknownImpl.h"

#include <cstdint>
#include <memory>

namespace VolmTime {

using CorePiecewiseLinear64 = Core::IPiecewiseLinearCorrection<std::uint64_t, std::uint64_t>;

class PiecewiseLinearCorrectionFunction : public CVolmUnknownImpl1<IPiecewiseLinearCorrection2> {
 public:
  VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) override;
  VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) override;
  VolmResult GetRate(double* rate) override;
  VolmResult AddSample(std::uint64_t tick, double rate, const std::uint64_t& time) override;
  VolmResult RemoveLastSample() override;
  VolmResult GetSampleCount(std::uint64_t* count) override;
  VolmResult Publish() override;
  VolmResult Reset() override;
  VolmResult GetCoreFunction(Core::CorrectionFunction64** core) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 protected:
  explicit PiecewiseLinearCorrectionFunction(std::unique_ptr<CorePiecewiseLinear64> core) noexcept
      : core_(std::move(core)) {}
  ~PiecewiseLinearCorrectionFunction() override = default;

  // A subclass whose core calls back into it destroys the core in its own destructor, while
  // the whole object still exists.
  void DestroyCore() noexcept { core_.reset(); }
  // For a subclass that must keep a typed pointer to the core it builds.
  void AdoptCore(std::unique_ptr<CorePiecewiseLinear64> core) noexcept { core_ = std::move(core); }

  [[nodiscard]] CorePiecewiseLinear64& Core() const noexcept { return *core_; }

 private:
  std::unique_ptr<CorePiecewiseLinear64> core_;
};

}  // namespace VolmTime

#endif  // VOLMTIME_PIECEWISELINEARCORRECTIONFUNCTION_H
