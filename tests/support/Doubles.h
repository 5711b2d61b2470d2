// SPDX-License-Identifier: MIT
// The test doubles: a core counter the test steers, a correction function component whose
// rate and failures the test chooses, and a tick timer component that records its armings.
// The platform's own fault injection stands in for a failing platform and counter.
#ifndef TESTS_SUPPORT_DOUBLES_H
#define TESTS_SUPPORT_DOUBLES_H

#include "VolmTime/Core/IHighResolutionCounter.h"
#include "VolmTime/Core/IWaitableTickTimer.h"
#include "VolmTime/ICorrectionFunction2.h"
#include "framework/CVolmError.h"
#include "framework/CVolmUnknownImpl.h"

#include <VolmTime/IWaitableTickTimer.h>

#include <atomic>
#include <memory>
#include <optional>
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

// time = tick, and tick = time / 2 the other way, at a chosen rate; a chosen failure code
// comes with an error object saying "no segment here", unless withErrorObject is false.
class ScriptedCorrection : public CVolmUnknownImpl1<ICorrectionFunction2> {
 public:
  explicit ScriptedCorrection(double rate = 1.0) : rate_(rate) {}
  VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) override {
    if (failure) return Fail();
    *time = tick;
    return VOLM_S_OK;
  }
  VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) override {
    if (failure) return Fail();
    *tick = time / 2;
    return VOLM_S_OK;
  }
  VolmResult GetRate(double* rate) override {
    if (failure) return Fail();
    *rate = rate_;
    return VOLM_S_OK;
  }
  VolmResult GetCoreFunction(VolmTime::Core::CorrectionFunction64** core) override {
    *core = nullptr;
    return VOLM_S_OK;
  }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    if (id == VolmIds().correctionFunction) return HandOutInterface(PrimaryUnknown(), object);
    return NoInterface(object);
  }
  std::optional<VolmResult> failure;
  bool withErrorObject = true;

 private:
  VolmResult Fail() {
    if (!withErrorObject) return *failure;
    return SetError(new CVolmError(*failure, VOLM_TEXT("no segment here")));
  }
  double rate_;
};

// A tick timer component that records "what ticks" for each arming and answers every call
// with `result`, without an error object.
class RecordingTickTimer : public CVolmUnknownImpl1<IWaitableTickTimer> {
 public:
  VolmResult GetHandle(VolmHandle* handle) override {
    *handle = VolmHandle{};
    return result;
  }
  VolmResult Wait(std::uint32_t, std::int32_t* outcome) override {
    *outcome = -1;
    return result;
  }
  VolmResult SetAbsolute(std::uint64_t tick) override { return Record("absolute", tick); }
  VolmResult SetRelative(std::uint64_t ticks) override { return Record("relative", ticks); }
  VolmResult SetPeriodic(std::uint64_t ticks) override { return Record("periodic", ticks); }
  VolmResult Cancel() override { return Record("cancel", 0); }
  VolmResult QueryOwnInterface(const VolmId& id, void** object) override {
    if (id == VolmIds().waitableTickTimer) return HandOutInterface(PrimaryUnknown(), object);
    return NoInterface(object);
  }
  std::vector<std::string> calls;
  VolmResult result = VOLM_S_OK;

 private:
  VolmResult Record(const char* what, std::uint64_t ticks) {
    calls.push_back(std::string(what) + " " + std::to_string(ticks));
    return result;
  }
};

#endif  // TESTS_SUPPORT_DOUBLES_H
