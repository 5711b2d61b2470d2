// SPDX-License-Identifier: MIT
#include "VolmTime/Core/TickTimerPlatform.h"

#include "platform/Event.h"
#include "platform/Timer.h"
#include "platform/Wait.h"

namespace VolmTime::Core {

namespace {

class SystemPlatform final : public ITickTimerPlatform {
 public:
  Platform::UniqueHandle CreateAutoResetTimer() override {
    return Platform::CreateWaitableTimer(false);
  }
  Platform::UniqueHandle CreateAutoResetEvent() override {
    return Platform::CreateAutoResetEvent();
  }
  bool ArmTimer(Platform::NativeHandle timer, std::int64_t dueTime,
                std::int32_t periodMs) override {
    return Platform::ArmWaitableTimer(timer, dueTime, periodMs);
  }
  bool CancelTimer(Platform::NativeHandle timer) override {
    return Platform::CancelWaitableTimer(timer);
  }
  bool SetEvent(Platform::NativeHandle event) override { return Platform::SetEvent(event); }
  bool ResetEvent(Platform::NativeHandle event) override { return Platform::ResetEvent(event); }
  std::uint32_t WaitForAny(const Platform::NativeHandle* handles, std::uint32_t count,
                           std::uint32_t timeoutMs) override {
    return Platform::WaitForMany(handles, count, false, timeoutMs);
  }
};

}  // namespace

ITickTimerPlatform& SystemTickTimerPlatform() noexcept {
  static SystemPlatform platform;
  return platform;
}

}  // namespace VolmTime::Core
