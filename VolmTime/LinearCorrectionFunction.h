// SPDX-License-Identifier: MIT
// A linear correction function as a component; the factory's default clocks convert through
// two of them.
#ifndef VOLMTIME_LINEARCORRECTIONFUNCTION_H
#define VOLMTIME_LINEARCORRECTIONFUNCTION_H

#include "VolmTime/Core/LinearCorrectionFunction.h"
#include "VolmTime/ICorrectionFunction2.h"
#include "framework/CVolmUnknownImpl.h"

namespace VolmTime {

class LinearCorrectionFunction : public CVolmUnknownImpl1<ICorrectionFunction2> {
 public:
  LinearCorrectionFunction(std::uint64_t tickOffset, double rate, std::uint64_t timeOffset) noexcept
      : core_(tickOffset, rate, timeOffset) {}

  VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) override;
  VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) override;
  VolmResult GetRate(double* rate) override;
  VolmResult GetCoreFunction(Core::CorrectionFunction64** core) override;

  VolmResult QueryOwnInterface(const VolmId& id, void** object) override;

 private:
  Core::LinearCorrectionFunction<std::uint64_t, std::uint64_t> core_;
};

}  // namespace VolmTime

#endif  // VOLMTIME_LINEARCORRECTIONFUNCTION_H
