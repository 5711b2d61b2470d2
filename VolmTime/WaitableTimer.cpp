// SPDX-License-Identifier: MIT
#include "VolmTime/WaitableTimer.h"

#include "VolmTime/Core/DurationTicks.h"
#include "framework/ComponentBoundary.h"
#include "framework/RequiredPart.h"
#include "framework/ThrowIfFailed.h"

namespace VolmTime {

namespace {

// Where this file's calls on inner objects stand, as error texts cite them.
constexpr const char* kSourceFile = "WaitableTimer";
constexpr VolmCallSite kGetHandleCall{kSourceFile, 42};
constexpr VolmCallSite kWaitCall{kSourceFile, 52};
constexpr VolmCallSite kTimeToTickCall{kSourceFile, 69};
constexpr VolmCallSite kSetAbsoluteCall{kSourceFile, 71};
constexpr std::int32_t kSetRelativeRateLine = 82;
constexpr VolmCallSite kSetRelativeCall{kSourceFile, 86};
constexpr std::int32_t kSetPeriodicRateLine = 97;
constexpr VolmCallSite kSetPeriodicCall{kSourceFile, 101};
constexpr VolmCallSite kCancelCall{kSourceFile, 111};

constexpr const VolmWideChar* kMissingPart =
    VOLM_TEXT("A waitable timer needs a correction function and a tick timer.");

}  // namespace

WaitableTimer::WaitableTimer(ICorrectionFunction* correction, IWaitableTickTimer* tickTimer)
    : correction_(RequiredPart(correction, kMissingPart)),
      tickTimer_(RequiredPart(tickTimer, kMissingPart)) {}

WaitableTimer::~WaitableTimer() {
  tickTimer_.Reset();
  correction_.Reset();
}

std::uint64_t WaitableTimer::DurationToTicks(std::uint64_t duration, std::int32_t rateLine) {
  double rate = 0.0;
  ThrowIfFailed(correction_.Get(), correction_->GetRate(&rate),
                VolmCallSite{kSourceFile, rateLine});
  const Core::DurationTicks converted = Core::TicksForDuration(duration, rate);
  if (converted.failure != nullptr) throw CVolmException(VOLM_E_FAIL, converted.failure);
  return converted.ticks;
}

VolmResult WaitableTimer::GetHandle(VolmHandle* handle) {
  if (handle == nullptr) return VOLM_E_POINTER;
  return ComponentBoundary(*this, [&] {
    ThrowIfFailed(tickTimer_.Get(), tickTimer_->GetHandle(handle), kGetHandleCall);
  });
}

VolmResult WaitableTimer::Wait(std::uint32_t timeoutMs, std::int32_t* outcome) {
  if (outcome == nullptr) return VOLM_E_POINTER;
  return ComponentBoundary(*this, [&] {
    ThrowIfFailed(tickTimer_.Get(), tickTimer_->Wait(timeoutMs, outcome), kWaitCall);
  });
}

VolmResult WaitableTimer::SetAbsolute(const std::uint64_t& time) {
  return ComponentBoundary(*this, [&] {
    std::uint64_t tick = 0;
    ThrowIfFailed(correction_.Get(), correction_->TimeToTick(time, &tick), kTimeToTickCall);
    ThrowIfFailed(tickTimer_.Get(), tickTimer_->SetAbsolute(tick), kSetAbsoluteCall);
  });
}

VolmResult WaitableTimer::SetRelative(const std::uint64_t& duration) {
  return ComponentBoundary(*this, [&] {
    const std::uint64_t ticks = DurationToTicks(duration, kSetRelativeRateLine);
    ThrowIfFailed(tickTimer_.Get(), tickTimer_->SetRelative(ticks), kSetRelativeCall);
  });
}

VolmResult WaitableTimer::SetPeriodic(const std::uint64_t& period) {
  return ComponentBoundary(*this, [&] {
    const std::uint64_t ticks = DurationToTicks(period, kSetPeriodicRateLine);
    ThrowIfFailed(tickTimer_.Get(), tickTimer_->SetPeriodic(ticks), kSetPeriodicCall);
  });
}

VolmResult WaitableTimer::Cancel() {
  return ComponentBoundary(
      *this, [&] { ThrowIfFailed(tickTimer_.Get(), tickTimer_->Cancel(), kCancelCall); });
}

VolmResult WaitableTimer::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().waitableTimer) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

}  // namespace VolmTime
