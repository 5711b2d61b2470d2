// SPDX-License-Identifier: MIT
// Timers on a clock's time axis: how times and durations become ticks, and how failures of
// the correction function or the tick timer reach the caller.
#include "VolmTime/WaitableTimer.h"
#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <limits>

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
  // A tick timer failure without an error object gets a text naming this component.
  correction_->failure.reset();
  tickTimer_->result = 0xA0BC1234u;
  std::int32_t outcome = 0;
  EXPECT_EQ(timer_->Wait(0, &outcome), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()).rfind("Unknown error code. [WaitableTimer, line ", 0), 0u);
}

}  // namespace
