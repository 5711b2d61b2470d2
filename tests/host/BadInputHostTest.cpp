// SPDX-License-Identifier: MIT
// What a host gets for bad input, row by row as the README's table states it. Rows whose
// answer comes from one object alone are asserted there: a store too small for its layout
// (core SharedMemoryCorrection), CreateTimer without tick timers (components ClockTest), tick
// counts near 2^64 (core SleepDueTime), arbitrary or fast-changing store contents (core
// StoreAsItStands, the fuzz target, stress LappedReader), the Linux account and lock rows
// (platform SharedMemoryFiles, components NamedClockWaits).
#include "HostFixture.h"

#include "examples/HostEvent.h"
#include "tests/support/UniqueName.h"

#include <chrono>
#include <limits>
#include <vector>

namespace {

using BadInput = FactoryHostTest;

TEST_F(BadInput, NullOutPointersAreRefusedWhereAResultIsWrittenAndAcceptedWhereMade) {
  Ref<ICorrectionFunction> correction;
  relative_->GetCorrectionFunction(correction.Out());
  Ref<IWaitForEvents> waiter;
  factory_->CreateWaitForEvents(waiter.Out());
  Ref<IWaitableTimer> timer;
  relative_->CreateTimer(timer.Out());
  bool valid = false;
  std::uint64_t value = 0;
  const VolmResult refused[] = {factory_->QueryInterface(IID_IClock, nullptr),
                                factory_->IsCounterAvailable(nullptr),
                                relative_->GetTime(nullptr),
                                relative_->TryGetTime(&valid, nullptr),
                                relative_->TryGetTime(nullptr, &value),
                                relative_->IsSystemTime(nullptr),
                                correction->GetRate(nullptr),
                                correction->TickToTime(1, nullptr),
                                timer->GetHandle(nullptr),
                                timer->Wait(0, nullptr),
                                waiter->Wait(nullptr, 0, false, 0, nullptr)};
  for (const VolmResult result : refused) EXPECT_EQ(result, VOLM_E_POINTER);
  const VolmResult accepted[] = {factory_->GetCounter(nullptr),
                                 factory_->GetSystemClock(nullptr),
                                 factory_->CreateWaitForEvents(nullptr),
                                 advanced_->CreateLocalCorrection(nullptr),
                                 relative_->GetCorrectionFunction(nullptr),
                                 relative_->CreateTimer(nullptr)};
  for (const VolmResult result : accepted) EXPECT_EQ(result, VOLM_S_OK);
}

TEST_F(BadInput, NamesThatAreMissingEmptyOrRefusedFailWithTheirReason) {
  Ref<IClock> clock;
  Ref<IPiecewiseLinearCorrection> function;
  EXPECT_EQ(factory_->CreateSynchronizedClock(nullptr, clock.Out()), VOLM_E_POINTER);
  EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(nullptr, function.Out()), VOLM_E_POINTER);
  EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(nullptr, function.Out()), VOLM_E_POINTER);
  // A character that narrows to NUL ends the name there: here nothing is left of it.
  for (const Wide& empty : {Wide(), Wide{static_cast<VolmWideChar>(0x0100), 'b'}}) {
    EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(empty.c_str(), function.Out()), VOLM_E_FAIL);
    EXPECT_EQ(LastErrorText(factory_),
              "The shared memory >< is not available (the name is empty).");
  }
  EXPECT_EQ(factory_->CreateSynchronizedClock(Wide().c_str(), clock.Out()), VOLM_E_FAIL);
  const std::string name = UniqueName("volm-bad");
  Wide cut = WideOf(name);
  cut += {static_cast<VolmWideChar>(0x0100), 'B'};
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(cut.c_str(), writer.Out()), VOLM_S_OK);
  EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(WideOf(name).c_str(), function.Out()), VOLM_S_OK);
  // A reader of a name nobody created, and a name the platform refuses.
#if defined(_WIN32)
  const std::pair<std::string, std::string> refusals[] = {{name + "-none", ""}};
#else
  const std::pair<std::string, std::string> refusals[] = {
      {name + "-none", "No such file or directory"}, {name + "/x", ""}};
#endif
  for (const auto& [refused, reason] : refusals) {
    EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(WideOf(refused).c_str(), function.Out()),
              VOLM_E_FAIL);
    const std::string text = LastErrorText(factory_);
    const std::string prefix = "The shared memory >" + refused + "< is not available (";
    EXPECT_EQ(text.rfind(prefix + reason, 0), 0u) << text;
    EXPECT_GT(text.size(), prefix.size() + 3) << text;
    EXPECT_EQ(text.substr(text.size() - 2), ").");
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
  }
}

TEST_F(BadInput, WaitsOnBadHandlesGiveFailAsTheOutcome) {
  Ref<IWaitForEvents> waiter;
  factory_->CreateWaitForEvents(waiter.Out());
  HostEvent event;
  std::vector<VolmHandle> many(65, event.Handle());  // one more than the 64 a wait takes
  const VolmHandle closed = HostEvent().Handle();    // closed at the semicolon
  const std::pair<const VolmHandle*, std::uint32_t> calls[] = {
      {many.data(), 65}, {many.data(), 0}, {nullptr, 1}, {&closed, 1}};
  for (const auto& [handles, count] : calls) {
    std::uint32_t outcome = 0;
    EXPECT_EQ(waiter->Wait(handles, count, false, 0, &outcome), VOLM_S_OK);
    EXPECT_EQ(outcome, VOLM_WAIT_FAILED) << count;
  }
}

// A clock on a shared function whose rate the writer set.
TEST_F(BadInput, RatesThatGiveNoTickCountAreRefusedAndAnInfiniteOneWaitsNoTick) {
  const Wide name = WideOf(UniqueName("volm-rate"));
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(name.c_str(), writer.Out()), VOLM_S_OK);
  Ref<IClock> clock;
  ASSERT_EQ(factory_->CreateSynchronizedClock(name.c_str(), clock.Out()), VOLM_S_OK);
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(clock->CreateTimer(timer.Out()), VOLM_S_OK);
  const char* const noRate = "The clock's correction function has no usable rate";
  const std::pair<double, const char*> rows[] = {
      {0.0, noRate},
      {-1.0, noRate},
      {std::numeric_limits<double>::quiet_NaN(), noRate},
      {1e-300, "The duration converts into more ticks than the counter can count"}};
  std::uint64_t tick = 0;
  for (const auto& [rate, text] : rows) {
    ++tick;
    ASSERT_EQ(writer->AddSample(tick, rate, tick), VOLM_S_OK);
    ASSERT_EQ(writer->Publish(), VOLM_S_OK);
    EXPECT_EQ(clock->SleepTime(10'000), VOLM_E_FAIL);
    EXPECT_EQ(LastErrorText(clock.Get()).rfind(text, 0), 0u) << LastErrorText(clock.Get());
    EXPECT_EQ(timer->SetRelative(10'000), VOLM_E_FAIL);
    EXPECT_EQ(timer->SetPeriodic(10'000), VOLM_E_FAIL);
    EXPECT_EQ(LastErrorText(timer.Get()).rfind(text, 0), 0u) << LastErrorText(timer.Get());
  }
  ++tick;
  ASSERT_EQ(writer->AddSample(tick, std::numeric_limits<double>::infinity(), tick), VOLM_S_OK);
  ASSERT_EQ(writer->Publish(), VOLM_S_OK);
  // Ten minutes last no tick: the sleep returns and the timer fires at once (the bound only
  // tells that apart from a real ten-minute wait).
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(clock->SleepTime(6'000'000'000), VOLM_S_OK);
  ASSERT_EQ(timer->SetRelative(6'000'000'000), VOLM_S_OK);
  std::int32_t outcome = 99;
  ASSERT_EQ(timer->Wait(VOLM_INFINITE, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
