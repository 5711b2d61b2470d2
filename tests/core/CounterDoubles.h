// Core counters that tests can steer: a counter at a chosen frequency whose ticks the test
// sets, and one that fails on every call.
#ifndef TESTS_CORE_COUNTERDOUBLES_H
#define TESTS_CORE_COUNTERDOUBLES_H

#include "VolmTime/Core/CException.h"
#include "VolmTime/Core/IHighResolutionCounter.h"
#include "VolmTime/Core/IWaitableTickTimer.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

// Ticks move only when the test moves them; sleeps and spins are recorded, not performed.
class SteeredCounter : public VolmTime::Core::IHighResolutionCounter {
 public:
  explicit SteeredCounter(std::uint64_t frequency) : frequency_(frequency) {}
  const WideString& GetName() const override { return name_; }
  std::unique_ptr<VolmTime::Core::IWaitableTickTimer> CreateTickTimer() override { return nullptr; }
  void SleepTick(std::uint64_t ticks) override {
    calls.push_back("sleep " + std::to_string(ticks));
  }
  std::uint64_t GetFrequency() const override { return frequency_; }
  std::uint64_t GetTick() const override { return tick.load(); }
  bool IsAvailable() const override { return true; }
  bool HasTickTimer() const override { return false; }
  void SpinTick(std::uint64_t ticks) override { calls.push_back("spin " + std::to_string(ticks)); }

  std::atomic<std::uint64_t> tick{0};
  std::vector<std::string> calls;

 private:
  std::uint64_t frequency_;
  WideString name_ = VOLM_TEXT("steered counter");
};

// Every operation that can fail does, with the message a platform failure would give.
class FailingCounter : public VolmTime::Core::IHighResolutionCounter {
 public:
  const WideString& GetName() const override { return name_; }
  std::unique_ptr<VolmTime::Core::IWaitableTickTimer> CreateTickTimer() override { Fail(); }
  void SleepTick(std::uint64_t) override { Fail(); }
  std::uint64_t GetFrequency() const override { return 3'579'545; }
  std::uint64_t GetTick() const override { Fail(); }
  bool IsAvailable() const override { Fail(); }
  bool HasTickTimer() const override { Fail(); }
  void SpinTick(std::uint64_t) override { Fail(); }

  static constexpr const char* kMessage =
      "VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed.";

 private:
  [[noreturn]] static void Fail() {
    throw VolmTime::Core::CException(
        VOLM_TEXT("VolmTime::Core::WindowsCounter::GetTick failed. Reason: calling QPC failed."));
  }
  WideString name_ = VOLM_TEXT("failing counter");
};

#endif  // TESTS_CORE_COUNTERDOUBLES_H
