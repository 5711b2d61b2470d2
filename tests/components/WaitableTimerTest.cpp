// Timers on a clock's time axis: times and durations become ticks through the correction
// function, and failures reach the caller with their code and text.
#include "VolmTime/WaitableTimer.h"
#include "framework/LiveObjects.h"

#include "tests/support/Doubles.h"
#include "tests/support/Helpers.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

class WaitableTimerTest : public ::testing::Test {
 protected:
  void Build(double rate) {
    correction_ = new ScriptedCorrection(rate);
    tickTimer_ = new RecordingTickTimer;
    timer_ = new VolmTime::WaitableTimer(correction_.Get(), tickTimer_.Get());
  }
  void TearDown() override {
    timer_.Reset();
    correction_.Reset();
    tickTimer_.Reset();
    EXPECT_EQ(GetLiveObjectCount(), liveBefore_);
  }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
  CVolmPtr<ScriptedCorrection> correction_;
  CVolmPtr<RecordingTickTimer> tickTimer_;
  CVolmPtr<VolmTime::WaitableTimer> timer_;
};

TEST_F(WaitableTimerTest, DurationsUseTheRateAndTimesTheWholeMapping) {
  Build(10'000'000.0 / 3'579'545.0);
  EXPECT_EQ(timer_->SetRelative(10'000), VOLM_S_OK);
  EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_S_OK);
  EXPECT_EQ(timer_->SetAbsolute(5'000), VOLM_S_OK);
  EXPECT_EQ(tickTimer_->calls,
            (std::vector<std::string>{"relative 3579", "periodic 3579", "absolute 2500"}));
}

TEST_F(WaitableTimerTest, DurationsWithoutATickCountAreRefusedWithoutArming) {
  for (const double rate : {0.0, 1e-300}) {
    Build(rate);
    EXPECT_EQ(timer_->SetRelative(10'000), VOLM_E_FAIL) << rate;
    EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_E_FAIL) << rate;
    EXPECT_TRUE(tickTimer_->calls.empty()) << rate;
  }
  Build(std::numeric_limits<double>::infinity());
  EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_S_OK);
  EXPECT_EQ(tickTimer_->calls, (std::vector<std::string>{"periodic 0"}));
}

TEST_F(WaitableTimerTest, FailuresKeepTheirCodeAndTextOrNameTheCall) {
  Build(1.0);
  correction_->failure = 0x80041234u;
  EXPECT_EQ(timer_->SetAbsolute(10'000), 0x80041234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "no segment here");
  EXPECT_TRUE(tickTimer_->calls.empty());
  correction_->failure.reset();
  tickTimer_->result = 0xA0BC1234u;
  EXPECT_EQ(timer_->SetRelative(10), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()).rfind("Unknown error code. [WaitableTimer, line ", 0), 0u);
  tickTimer_->result = VOLM_S_OK;  // a success clears the error
  EXPECT_EQ(timer_->Cancel(), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(timer_.Get()), "<none>");
}

}  // namespace
