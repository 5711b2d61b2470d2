// SPDX-License-Identifier: MIT
#include "VolmTime/LinearCorrectionFunction.h"

namespace VolmTime {

// None of these can fail: the arithmetic is total.
VolmResult LinearCorrectionFunction::TickToTime(std::uint64_t tick, std::uint64_t* time) {
  if (time == nullptr) return VOLM_E_POINTER;
  *time = core_.TickToTime(tick);
  return VOLM_S_OK;
}

VolmResult LinearCorrectionFunction::TimeToTick(const std::uint64_t& time, std::uint64_t* tick) {
  if (tick == nullptr) return VOLM_E_POINTER;
  *tick = core_.TimeToTick(time);
  return VOLM_S_OK;
}

VolmResult LinearCorrectionFunction::GetRate(double* rate) {
  if (rate == nullptr) return VOLM_E_POINTER;
  *rate = core_.GetRate();
  return VOLM_S_OK;
}

VolmResult LinearCorrectionFunction::GetCoreFunction(Core::CorrectionFunction64** core) {
  if (core == nullptr) return VOLM_E_POINTER;
  *core = &core_;
  return VOLM_S_OK;
}

VolmResult LinearCorrectionFunction::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().correctionFunction) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

}  // namespace VolmTime
