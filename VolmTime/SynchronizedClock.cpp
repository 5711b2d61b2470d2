// SPDX-License-Identifier: MIT
#include "VolmTime/SynchronizedClock.h"

#include "VolmTime/Core/DurationTicks.h"
#include "VolmTime/Core/WindowsCounter.h"
#include "VolmTime/WaitableTimer.h"
#include "framework/ComponentBoundary.h"
#include "framework/ThrowIfFailed.h"
#include "platform/Counter.h"
#include "platform/SystemTime.h"

#include <typeinfo>

namespace VolmTime {

namespace {

constexpr VolmCallSite kCreateTickTimerCall{"SynchronizedClock", 41};
// Sleeps up to 2 ms yield-spin on the counter instead of using a platform timer.
constexpr std::uint64_t kLongestSpin = 20'000;

}  // namespace

SynchronizedClock::SynchronizedClock(IHighResolutionCounter2* counter,
                                     ICorrectionFunction* correction, bool isSystemTime) noexcept
    : counter_(counter), correction_(correction), isSystemTime_(isSystemTime) {
  if (counter_) counter_->GetCoreCounter(&coreCounter_);
  CVolmPtr<ICorrectionFunction2> withCore;
  if (correction_ &&
      VolmSucceeded(
          correction_->QueryInterface(VolmIds().correctionFunction, withCore.PutVoid())) &&
      withCore) {
    withCore->GetCoreFunction(&coreFunction_);
  }
  // Exact types only: a subclass may read or convert differently.
  const bool platformCounter =
      coreCounter_ != nullptr && typeid(*coreCounter_) == typeid(Core::WindowsCounter);
  if (isSystemTime_ || !platformCounter || coreFunction_ == nullptr) return;
  using Linear = Core::LinearCorrectionFunction<std::uint64_t, std::uint64_t>;
  if (typeid(*coreFunction_) == typeid(Linear)) {
    linear_.emplace(static_cast<const Linear&>(*coreFunction_));
    fastPath_ = FastPath::kLinear;
    return;
  }
  // TickToTime is final in the piecewise-linear base, so every subclass answers alike.
  piecewise_ =
      dynamic_cast<const Core::PiecewiseLinearCorrectionFunction<std::uint64_t, std::uint64_t>*>(
          coreFunction_);
  if (piecewise_ != nullptr) fastPath_ = FastPath::kLastSegments;
}

SynchronizedClock::~SynchronizedClock() {
  correction_.Reset();
  counter_.Reset();
}

VolmResult SynchronizedClock::ReadTime(std::uint64_t* time) noexcept {
  if (fastPath_ != FastPath::kNone) {
    // The usual cores, read without a virtual call and without the prologue of the paths
    // below, which are out of line.
    std::uint64_t tick = 0;
    if (!Platform::ReadTick(tick)) return ReadTimeThroughComponents(time);
    if (fastPath_ == FastPath::kLinear) {
      *time = linear_->TickToTime(tick);
      return VOLM_S_OK;
    }
    if (piecewise_->TickToTimeInLastSegments(tick, *time)) return VOLM_S_OK;
    return ConvertThroughCore(tick, time);
  }
  if (isSystemTime_) {
    *time = Platform::PreciseSystemTime();
    return VOLM_S_OK;
  }
  if (coreCounter_ != nullptr && coreFunction_ != nullptr) {
    std::uint64_t tick = 0;
    try {
      tick = coreCounter_->GetTick();
    } catch (...) {
      return ReadTimeThroughComponents(time);
    }
    return ConvertThroughCore(tick, time);
  }
  return ReadTimeThroughComponents(time);
}

VolmResult SynchronizedClock::ConvertThroughCore(std::uint64_t tick, std::uint64_t* time) noexcept {
  try {
    *time = coreFunction_->TickToTime(tick);
    return VOLM_S_OK;
  } catch (...) {
    // Read again through the components, which report the failure the documented way.
    return ReadTimeThroughComponents(time);
  }
}

VolmResult SynchronizedClock::ReadTimeThroughComponents(std::uint64_t* time) noexcept {
  std::uint64_t tick = 0;
  const VolmResult tickResult = counter_->GetTick(&tick);
  if (VolmFailed(tickResult)) return tickResult;
  const VolmResult timeResult = correction_->TickToTime(tick, time);
  if (VolmSucceeded(timeResult)) return VOLM_S_OK;
  // The correction function's error becomes this clock's, so the caller finds its text here.
  try {
    CVolmPtr<IGetVolmError> source;
    CVolmPtr<IVolmError> error;
    if (VolmSucceeded(correction_->QueryInterface(VolmIds().getVolmError, source.PutVoid())) &&
        source) {
      source->GetError(error.Put());
    }
    return SetError(new CVolmError(error.Get()));
  } catch (...) {
    return timeResult;
  }
}

// Flattened so that the counter read, in another file, is inlined too.
[[gnu::flatten]] VolmResult SynchronizedClock::GetTime(std::uint64_t* time) {
  if (time == nullptr) return VOLM_E_POINTER;
  // The usual cores answer here, with no call but the counter read; the rest, and every
  // failure, goes out of line.
  if (fastPath_ != FastPath::kNone) {
    std::uint64_t tick = 0;
    if (!Platform::ReadTick(tick)) [[unlikely]]
      return FinishReading(false, 0, time);
    if (fastPath_ == FastPath::kLinear) {
      *time = linear_->TickToTime(tick);
      return VOLM_S_OK;
    }
    if (piecewise_->TickToTimeInLastSegments(tick, *time)) [[likely]]
      return VOLM_S_OK;
    return FinishReading(true, tick, time);
  }
  return FinishReading(false, 0, time);
}

VolmResult SynchronizedClock::FinishReading(bool haveTick, std::uint64_t tick,
                                            std::uint64_t* time) noexcept {
  std::uint64_t now = 0;
  VolmResult result = VOLM_S_OK;
  if (fastPath_ == FastPath::kNone) {
    result = ReadTime(&now);
  } else {
    // The counter was read (and converted outside the last two segments here), or reading it
    // failed, which the components report.
    result = haveTick ? ConvertThroughCore(tick, &now) : ReadTimeThroughComponents(&now);
  }
  if (VolmSucceeded(result)) *time = now;
  return result;
}

VolmResult SynchronizedClock::TryGetTime(bool* valid, std::uint64_t* time) {
  if (valid == nullptr || time == nullptr) return VOLM_E_POINTER;
  std::uint64_t now = 0;
  *valid = VolmSucceeded(ReadTime(&now));
  *time = *valid ? now : 0;
  return VOLM_S_OK;
}

VolmResult SynchronizedClock::SleepTime(const std::uint64_t& duration) {
  double rate = 0.0;
  const VolmResult rateResult = correction_->GetRate(&rate);
  if (VolmFailed(rateResult)) return rateResult;
  const Core::DurationTicks converted = Core::TicksForDuration(duration, rate);
  if (converted.failure != nullptr) return StoreNewError(*this, VOLM_E_FAIL, converted.failure);
  return duration <= kLongestSpin ? counter_->SpinTick(converted.ticks)
                                  : counter_->SleepTick(converted.ticks);
}

VolmResult SynchronizedClock::IsSystemTime(bool* isSystemTime) {
  if (isSystemTime == nullptr) return VOLM_E_POINTER;
  *isSystemTime = isSystemTime_;
  return VOLM_S_OK;
}

VolmResult SynchronizedClock::GetCorrectionFunction(ICorrectionFunction** function) {
  if (function == nullptr) return VOLM_S_OK;
  if (correction_) correction_->AddRef();
  *function = correction_.Get();
  return VOLM_S_OK;
}

VolmResult SynchronizedClock::CreateTimer(IWaitableTimer** timer) {
  return ComponentBoundary(*this, [&] {
    CVolmPtr<IWaitableTickTimer> tickTimer;
    ThrowIfFailed(counter_.Get(), counter_->CreateTickTimer(tickTimer.Put()), kCreateTickTimerCall);
    if (!tickTimer) {
      throw CVolmException(VOLM_E_FAIL,
                           VOLM_TEXT("The clock's counter makes no tick timers, so the clock "
                                     "cannot make a timer."));
    }
    CVolmPtr<WaitableTimer> made(new WaitableTimer(correction_.Get(), tickTimer.Get()));
    if (timer != nullptr) *timer = made.Detach();
  });
}

VolmResult SynchronizedClock::QueryOwnInterface(const VolmId& id, void** object) {
  if (id == VolmIds().clock) return HandOutInterface(PrimaryUnknown(), object);
  return NoInterface(object);
}

}  // namespace VolmTime
