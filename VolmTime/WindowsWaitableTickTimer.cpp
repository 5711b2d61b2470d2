// SPDX-License-Identifier: MIT
#include "VolmTime/WindowsWaitableTickTimer.h"

#include "VolmTime/CoreBoundary.h"
#include "framework/CVolmException.h"
#include "framework/RequiredPart.h"

namespace VolmTime {

namespace {

constexpr const VolmWideChar* kMissingPart =
    VOLM_TEXT("A tick timer needs a counter and a correction function.");

Core::IHighResolutionCounter* CoreCounterOf(IHighResolutionCounter2& counter) {
  Core::IHighResolutionCounter* core = nullptr;
  counter.GetCoreCounter(&core);
  return core;
}

Core::CorrectionFunction64* CoreFunctionOf(ICorrectionFunction2& correction) {
  Core::CorrectionFunction64* core = nullptr;
  correction.GetCoreFunction(&core);
  return core;
}

}  // namespace

WindowsWaitableTickTimer::WindowsWaitableTickTimer(IHighResolutionCounter2* counter,
                                                   ICorrectionFunction2* correction,
                                                   Core::ITickTimerPlatform& platform)
    : counter_(RequiredPart(counter, kMissingPart)),
      correction_(RequiredPart(correction, kMissingPart)),
      core_(std::make_unique<CoreTimer>(CoreCounterOf(*counter_), CoreFunctionOf(*correction_),
                                        platform)) {}

// The core timer borrows the cores of the two components, so it goes first.
WindowsWaitableTickTimer::~WindowsWaitableTickTimer() { core_.reset(); }

VolmResult WindowsWaitableTickTimer::GetHandle(VolmHandle* handle) {
  if (handle == nullptr) return VOLM_E_POINTER;
  return CoreBoundary(*this, [&] { *handle = core_->GetHandle(); });
}

VolmResult WindowsWaitableTickTimer::Wait(std::uint32_t timeoutMs, std::int32_t* outcome) {
  if (outcome == nullptr) return VOLM_E_POINTER;
  return CoreBoundary(*this, [&] { *outcome = core_->Wait(timeoutMs); });
}

// A refused arming is not a failure of the operation: its flag is not examined.
VolmResult WindowsWaitableTickTimer::SetAbsolute(std::uint64_t tick) {
  return CoreBoundary(*this, [&] { (void)core_->SetAbsolute(tick); });
}

VolmResult WindowsWaitableTickTimer::SetRelative(std::uint64_t ticks) {
  return CoreBoundary(*this, [&] { (void)core_->SetRelative(ticks); });
}

VolmResult WindowsWaitableTickTimer::SetPeriodic(std::uint64_t ticks) {
  return CoreBoundary(*this, [&] { (void)core_->SetPeriodic(ticks); });
}

VolmResult WindowsWaitableTickTimer::Cancel() {
  return CoreBoundary(*this, [&] { (void)core_->Cancel(); });
}

VolmResult WindowsWaitableTickTimer::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().waitableTickTimer) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

}  // namespace VolmTime
