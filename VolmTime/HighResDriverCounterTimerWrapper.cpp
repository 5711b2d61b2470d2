// SPDX-License-Identifier: MIT
#include "VolmTime/HighResDriverCounterTimerWrapper.h"

#include "VolmTime/HighResDriverCounter.h"
#include "VolmTime/WindowsWaitableTickTimer.h"
#include "framework/ComponentBoundary.h"
#include "framework/RequiredPart.h"
#include "framework/ThrowIfFailed.h"

namespace VolmTime {

namespace {

// Where this file's forwarded calls stand, as error texts cite them.
constexpr const char* kSourceFile = "HighResDriverCounterTimerWrapper";
constexpr VolmCallSite kGetNameCall{kSourceFile, 42};
constexpr VolmCallSite kGetFrequencyCall{kSourceFile, 75};
constexpr VolmCallSite kIsAvailableCall{kSourceFile, 92};
constexpr VolmCallSite kHasTickTimerCall{kSourceFile, 102};

constexpr const VolmWideChar* kMissingPart =
    VOLM_TEXT("A counter wrapper needs a counter and a correction function.");

}  // namespace

HighResDriverCounterTimerWrapper::HighResDriverCounterTimerWrapper(IHighResolutionCounter2* inner,
                                                                   ICorrectionFunction2* correction)
    : inner_(RequiredPart(inner, kMissingPart)),
      correction_(RequiredPart(correction, kMissingPart)) {}

HighResDriverCounterTimerWrapper::~HighResDriverCounterTimerWrapper() {
  correction_.Reset();
  inner_.Reset();
}

VolmResult HighResDriverCounterTimerWrapper::GetName(IVolmWideCharString** name) {
  return ComponentBoundary(
      *this, [&] { ThrowIfFailed(inner_.Get(), inner_->GetName(name), kGetNameCall); });
}

VolmResult HighResDriverCounterTimerWrapper::CreateTickTimer(IWaitableTickTimer** timer) {
  return ComponentBoundary(*this, [&] {
    CVolmPtr<WindowsWaitableTickTimer> made(
        new WindowsWaitableTickTimer(inner_.Get(), correction_.Get()));
    if (timer != nullptr) *timer = made.Detach();
  });
}

// The time-critical three pass straight through; failures stay with the inner counter.
VolmResult HighResDriverCounterTimerWrapper::SleepTick(std::uint64_t ticks) {
  return inner_->SleepTick(ticks);
}

VolmResult HighResDriverCounterTimerWrapper::GetTick(std::uint64_t* tick) {
  return inner_->GetTick(tick);
}

VolmResult HighResDriverCounterTimerWrapper::SpinTick(std::uint64_t ticks) {
  return inner_->SpinTick(ticks);
}

VolmResult HighResDriverCounterTimerWrapper::GetFrequency(std::uint64_t* ticksPerSecond) {
  return ComponentBoundary(*this, [&] {
    ThrowIfFailed(inner_.Get(), inner_->GetFrequency(ticksPerSecond), kGetFrequencyCall);
  });
}

VolmResult HighResDriverCounterTimerWrapper::IsAvailable(bool* available) {
  return ComponentBoundary(*this, [&] {
    ThrowIfFailed(inner_.Get(), inner_->IsAvailable(available), kIsAvailableCall);
  });
}

VolmResult HighResDriverCounterTimerWrapper::HasTickTimer(bool* hasTickTimer) {
  return ComponentBoundary(*this, [&] {
    ThrowIfFailed(inner_.Get(), inner_->HasTickTimer(hasTickTimer), kHasTickTimerCall);
  });
}

VolmResult HighResDriverCounterTimerWrapper::GetCoreCounter(Core::IHighResolutionCounter** core) {
  return inner_->GetCoreCounter(core);
}

VolmResult HighResDriverCounterTimerWrapper::QueryOwnInterface(const VolmId& id, void** object) {
  return QueryCounterInterface(this, id, object);
}

}  // namespace VolmTime
