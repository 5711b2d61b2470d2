// Timers on a clock's time axis: how times and durations become ticks, and how failures of
// the correction function or the tick timer reach the caller.
#include "VolmTime/ICorrectionFunction2.h"
#include "VolmTime/WaitableTimer.h"
#include "framework/CVolmError.h"
#include "framework/LiveObjects.h"

#include "tests/support/ErrorTexts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace {

// A correction function with a chosen rate that can be made to fail with an error object.
class FakeCorrection : public CVolmUnknownImpl1<ICorrectionFunction2> {
 public:
  explicit FakeCorrection(double rate) : rate_(rate) {}
  VolmResult TickToTime(std::uint64_t tick, std::uint64_t* time) override {
    *time = tick;
    return VOLM_S_OK;
  }
  VolmResult TimeToTick(const std::uint64_t& time, std::uint64_t* tick) override {
    if (failure_) return SetError(new CVolmError(*failure_, VOLM_TEXT("no segment here")));
    *tick = time / 2;
    return VOLM_S_OK;
  }
  VolmResult GetRate(double* rate) override {
    if (failure_) return SetError(new CVolmError(*failure_, VOLM_TEXT("no segment here")));
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
  void FailWith(VolmResult code) { failure_ = code; }

 private:
  double rate_;
  std::optional<VolmResult> failure_;
};

// A tick timer that records what it is armed with and answers with a chosen code, without
// an error object.
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

  struct Call {
    std::string what;
    std::uint64_t ticks;
  };
  std::vector<Call> calls;
  VolmResult result = VOLM_S_OK;

 private:
  VolmResult Record(const char* what, std::uint64_t ticks) {
    calls.push_back({what, ticks});
    return result;
  }
};

class WaitableTimerTest : public ::testing::Test {
 protected:
  void Build(double rate) {
    correction_ = new FakeCorrection(rate);
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
  CVolmPtr<FakeCorrection> correction_;
  CVolmPtr<RecordingTickTimer> tickTimer_;
  CVolmPtr<VolmTime::WaitableTimer> timer_;
};

TEST_F(WaitableTimerTest, DurationsUseTheRateAndTruncate) {
  Build(10'000'000.0 / 3'579'545.0);
  EXPECT_EQ(timer_->SetRelative(10'000), VOLM_S_OK);
  EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_S_OK);
  ASSERT_EQ(tickTimer_->calls.size(), 2u);
  EXPECT_EQ(tickTimer_->calls[0].what, "relative");
  EXPECT_EQ(tickTimer_->calls[0].ticks, 3'579u);
  EXPECT_EQ(tickTimer_->calls[1].what, "periodic");
  EXPECT_EQ(tickTimer_->calls[1].ticks, 3'579u);
}

TEST_F(WaitableTimerTest, AbsoluteTimesUseTheWholeMapping) {
  Build(1.0);
  const std::uint64_t time = 5'000;
  EXPECT_EQ(timer_->SetAbsolute(time), VOLM_S_OK);
  ASSERT_EQ(tickTimer_->calls.size(), 1u);
  EXPECT_EQ(tickTimer_->calls[0].what, "absolute");
  EXPECT_EQ(tickTimer_->calls[0].ticks, 2'500u);
}

TEST_F(WaitableTimerTest, DurationsWithoutATickCountAreRefusedWithoutArming) {
  for (const double rate : {0.0, 1e-300}) {
    Build(rate);
    EXPECT_EQ(timer_->SetRelative(10'000), VOLM_E_FAIL) << rate;
    EXPECT_EQ(timer_->SetPeriodic(10'000), VOLM_E_FAIL) << rate;
    EXPECT_NE(LastErrorText(timer_.Get()), "") << rate;
    EXPECT_TRUE(tickTimer_->calls.empty()) << rate;
  }
  Build(std::numeric_limits<double>::infinity());
  EXPECT_EQ(timer_->SetRelative(10'000), VOLM_S_OK);
  ASSERT_EQ(tickTimer_->calls.size(), 1u);
  EXPECT_EQ(tickTimer_->calls[0].ticks, 0u);
}

TEST_F(WaitableTimerTest, CorrectionFailureKeepsItsCodeAndTextAndLeavesTheTimerAlone) {
  Build(1.0);
  correction_->FailWith(0x80041234u);
  EXPECT_EQ(timer_->SetRelative(10'000), 0x80041234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "no segment here");
  EXPECT_EQ(timer_->SetAbsolute(10'000), 0x80041234u);
  EXPECT_TRUE(tickTimer_->calls.empty());
}

TEST_F(WaitableTimerTest, TickTimerFailureWithoutErrorNamesTheCallSite) {
  Build(1.0);
  tickTimer_->result = 0xA0BC1234u;
  EXPECT_EQ(timer_->SetRelative(10), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 86]");
  EXPECT_EQ(timer_->SetPeriodic(10), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 101]");
  EXPECT_EQ(timer_->SetAbsolute(10), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 71]");
  EXPECT_EQ(timer_->Cancel(), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 111]");
  VolmHandle handle{};
  EXPECT_EQ(timer_->GetHandle(&handle), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 42]");
  std::int32_t outcome = 0;
  EXPECT_EQ(timer_->Wait(0, &outcome), 0xA0BC1234u);
  EXPECT_EQ(LastErrorText(timer_.Get()), "Unknown error code. [WaitableTimer, line 52]");
  // Success afterwards clears the error.
  tickTimer_->result = VOLM_S_OK;
  EXPECT_EQ(timer_->Cancel(), VOLM_S_OK);
  EXPECT_EQ(LastErrorText(timer_.Get()), "<none>");
}

TEST_F(WaitableTimerTest, NullOutArgumentsAreRefusedWithoutCallingThrough) {
  Build(1.0);
  tickTimer_->result = 0x80000001u;
  EXPECT_EQ(timer_->GetHandle(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(timer_->Wait(0, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(LastErrorText(timer_.Get()), "<none>");
}

}  // namespace
