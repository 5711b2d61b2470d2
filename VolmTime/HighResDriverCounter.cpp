// SPDX-License-Identifier: MIT
#include "VolmTime/HighResDriverCounter.h"

#include "VolmTime/CoreBoundary.h"
#include "framework/CVolmWideCharString.h"

namespace VolmTime {

VolmResult HighResDriverCounter::GetName(IVolmWideCharString** name) {
  return CoreBoundary(*this, [&] {
    CVolmPtr<CVolmWideCharString> made(new CVolmWideCharString(WideStringView(core_->GetName())));
    if (name != nullptr) *name = made.Detach();
  });
}

VolmResult HighResDriverCounter::CreateTickTimer(IWaitableTickTimer** /*timer*/) {
  return VOLM_S_FALSE;
}

VolmResult HighResDriverCounter::SleepTick(std::uint64_t ticks) {
  return CoreBoundary(*this, [&] { core_->SleepTick(ticks); });
}

VolmResult HighResDriverCounter::GetFrequency(std::uint64_t* ticksPerSecond) {
  return ReadThroughCore(*this, ticksPerSecond, [&] { return core_->GetFrequency(); });
}

VolmResult HighResDriverCounter::GetTick(std::uint64_t* tick) {
  return ReadThroughCore(*this, tick, [&] { return core_->GetTick(); });
}

VolmResult HighResDriverCounter::IsAvailable(bool* available) {
  return ReadThroughCore(*this, available, [&] { return core_->IsAvailable(); });
}

VolmResult HighResDriverCounter::HasTickTimer(bool* hasTickTimer) {
  return ReadThroughCore(*this, hasTickTimer, [&] { return core_->HasTickTimer(); });
}

VolmResult HighResDriverCounter::SpinTick(std::uint64_t ticks) {
  return CoreBoundary(*this, [&] { core_->SpinTick(ticks); });
}

VolmResult HighResDriverCounter::GetCoreCounter(Core::IHighResolutionCounter** core) {
  if (core == nullptr) return VOLM_E_POINTER;
  *core = core_.get();
  return VOLM_S_OK;
}

VolmResult QueryCounterInterface(IHighResolutionCounter2* counter, const VolmId& id,
                                 void** object) {
  if (id == VolmIds().highResolutionCounter) return HandOutInterface(counter, object);
  return NoInterface(object);
}

VolmResult HighResDriverCounter::QueryOwnInterface(const VolmId& id, void** object) {
  return QueryCounterInterface(this, id, object);
}

}  // namespace VolmTime
