#include "VolmTime/SynchronizedClock.h"

#include "VolmTime/Core/DurationTicks.h"
#include "platform/SystemTime.h"
#include "VolmTime/WaitableTimer.h"
#include "framework/ComponentBoundary.h"
#include "framework/ThrowIfFailed.h"

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
}

SynchronizedClock::~SynchronizedClock() {
  correction_.Reset();
  counter_.Reset();
}

VolmResult SynchronizedClock::ReadTime(std::uint64_t* time) noexcept {
  if (isSystemTime_) {
    *time = Platform::PreciseSystemTime();
    return VOLM_S_OK;
  }
  if (coreCounter_ != nullptr && coreFunction_ != nullptr) {
    // Straight to the cores: two calls instead of a chain of components. A failure on the
    // way is read again through the components, which report it the documented way.
    try {
      *time = coreFunction_->TickToTime(coreCounter_->GetTick());
      return VOLM_S_OK;
    } catch (...) {
    }
  }
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

VolmResult SynchronizedClock::GetTime(std::uint64_t* time) {
  if (time == nullptr) return VOLM_E_POINTER;
  std::uint64_t now = 0;
  const VolmResult result = ReadTime(&now);
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
