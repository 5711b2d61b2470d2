// SPDX-License-Identifier: MIT
// Timers on a clock's time axis: how times and durations become ticks, and how failures of
// the correction function or the tick timer reach the caller.
#include "VolmTime/WaitableTimer.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

class WaitableTimerTest : public LeakChecked {
 protected:
  void Build(double rate) {
    correction_ = new ScriptedCorrection(rate);
    tickTimer_ = new RecordingTickTimer;
    timer_ = new VolmTime::WaitableTimer(correction_.Get(), tickTimer_.Get());
  }
  CVolmPtr<ScriptedCorrection> correction_;
  CVolmPtr<RecordingTickTimer> tickTimer_;
  CVolmPtr<VolmTime::WaitableTimer> timer_;
};

TEST_F(WaitableTimerTest, TimesAndDurationsBecomeTicksThroughTheCorrectionFunction) {
  Build(10'000'000.0 / 3'579'545.0);
  EXPECT_EQ(timer_->SetRelative(10'000), VOLM_S_OK);
  EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_S_OK);
  EXPECT_EQ(timer_->SetAbsolute(5'000), VOLM_S_OK);
  EXPECT_EQ(timer_->Cancel(), VOLM_S_OK);
  EXPECT_EQ(tickTimer_->calls, (std::vector<std::string>{"relative 3579", "periodic 3579",
                                                         "absolute 2500", "cancel 0"}));
  // Durations without a tick count are refused before anything is armed.
  Build(0.0);
  EXPECT_EQ(timer_->SetRelative(10'000), VOLM_E_FAIL);
  EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_E_FAIL);
  EXPECT_NE(LastErrorText(timer_.Get()).find("no usable rate"), std::string::npos);
  EXPECT_TRUE(tickTimer_->calls.empty());
}

TEST_F(WaitableTimerTest, FailuresOfItsPartsReachTheCaller) {
  Build(1.0);
  correction_->failure = 0x80041234u;
  EXPECT_EQ(timer_->SetRelative(10'000), 0x80041234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "no segment here");
  EXPECT_EQ(timer_->SetAbsolute(10'000), 0x80041234u);
  EXPECT_TRUE(tickTimer_->calls.empty());
}

// A part that fails without an error object gets a text that names this component and the
// line of the call that failed, and its code passes through.
TEST_F(WaitableTimerTest, FailuresWithoutAnErrorObjectNameTheLineOfTheFailedCall) {
  constexpr VolmResult kCode = 0xA0BC1234u;
  std::int32_t outcome = 0;
  VolmHandle handle{};
  const std::vector<std::pair<int, std::function<VolmResult()>>> tickTimerCalls = {
      {42, [&] { return timer_->GetHandle(&handle); }},
      {52, [&] { return timer_->Wait(0, &outcome); }},
      {71, [&] { return timer_->SetAbsolute(5'000); }},
      {86, [&] { return timer_->SetRelative(10'000); }},
      {101, [&] { return timer_->SetPeriodic(10'000); }},
      {111, [&] { return timer_->Cancel(); }}};
  const std::vector<std::pair<int, std::function<VolmResult()>>> correctionCalls = {
      {69, [&] { return timer_->SetAbsolute(5'000); }},
      {82, [&] { return timer_->SetRelative(10'000); }},
      {97, [&] { return timer_->SetPeriodic(10'000); }}};
  const auto expectLine = [&](int line, const std::function<VolmResult()>& call) {
    const std::string suffix = "[WaitableTimer, line " + std::to_string(line) + "]";
    EXPECT_EQ(call(), kCode) << line;
    const std::string text = LastErrorText(timer_.Get());
    EXPECT_TRUE(text.ends_with(suffix)) << text << " should end with " << suffix;
  };
  Build(1.0);
  tickTimer_->result = kCode;
  for (const auto& [line, call] : tickTimerCalls) expectLine(line, call);
  correction_->failure = kCode;
  correction_->withErrorObject = false;
  for (const auto& [line, call] : correctionCalls) expectLine(line, call);
}

}  // namespace
