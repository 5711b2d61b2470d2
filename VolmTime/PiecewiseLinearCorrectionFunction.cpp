// SPDX-License-Identifier: MIT
#include "VolmTime/PiecewiseLinearCorrectionFunction.h"

#include "VolmTime/CoreBoundary.h"

namespace VolmTime {

VolmResult PiecewiseLinearCorrectionFunction::TickToTime(std::uint64_t tick, std::uint64_t* time) {
  return ReadThroughCore(*this, time, [&] { return core_->TickToTime(tick); });
}

VolmResult PiecewiseLinearCorrectionFunction::TimeToTick(const std::uint64_t& time,
                                                         std::uint64_t* tick) {
  return ReadThroughCore(*this, tick, [&] { return core_->TimeToTick(time); });
}

VolmResult PiecewiseLinearCorrectionFunction::GetRate(double* rate) {
  return ReadThroughCore(*this, rate, [&] { return core_->GetRate(); });
}

VolmResult PiecewiseLinearCorrectionFunction::AddSample(std::uint64_t tick, double rate,
                                                        const std::uint64_t& time) {
  return CoreBoundary(*this, [&] { core_->AddSample(tick, rate, time); });
}

VolmResult PiecewiseLinearCorrectionFunction::RemoveLastSample() {
  return CoreBoundary(*this, [&] { core_->RemoveLastSample(); });
}

VolmResult PiecewiseLinearCorrectionFunction::GetSampleCount(std::uint64_t* count) {
  return ReadThroughCore(*this, count, [&] { return core_->GetSampleCount(); });
}

VolmResult PiecewiseLinearCorrectionFunction::Publish() {
  return CoreBoundary(*this, [&] { core_->Publish(); });
}

VolmResult PiecewiseLinearCorrectionFunction::Reset() {
  return CoreBoundary(*this, [&] { core_->Reset(); });
}

VolmResult PiecewiseLinearCorrectionFunction::GetCoreFunction(Core::CorrectionFunction64** core) {
  if (core == nullptr) return VOLM_E_POINTER;
  *core = core_.get();
  return VOLM_S_OK;
}

VolmResult PiecewiseLinearCorrectionFunction::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().piecewiseLinearCorrection) return HandOutInterface(PrimaryUnknown(), object);
  // The correction function view is the one that carries the core accessor.
  if (id == VolmIds().correctionFunction) {
    return HandOutInterface(static_cast<ICorrectionFunction2*>(this), object);
  }
  return NoInterface(object);
}

}  // namespace VolmTime
