// What a host gets for bad input, row by row as the README's table states it.
#include "LoadedLibrary.h"

#include "tests/support/HostEvent.h"
#include "tests/support/UniqueName.h"

#include <chrono>
#include <limits>

#include <vector>

namespace {

using Wide = std::basic_string<VolmWideChar>;

using BadInput = FactoryHostTest;

TEST_F(BadInput, NullResultPointersAreRefused) {
  EXPECT_EQ(factory_->QueryInterface(IID_IClock, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(factory_->IsCounterAvailable(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(relative_->GetTime(nullptr), VOLM_E_POINTER);
  bool valid = false;
  EXPECT_EQ(relative_->TryGetTime(&valid, nullptr), VOLM_E_POINTER);
  EXPECT_EQ(relative_->IsSystemTime(nullptr), VOLM_E_POINTER);
  Ref<ICorrectionFunction> correction;
  relative_->GetCorrectionFunction(correction.Out());
  EXPECT_EQ(correction->GetRate(nullptr), VOLM_E_POINTER);
  EXPECT_EQ(correction->TickToTime(1, nullptr), VOLM_E_POINTER);
  Ref<IWaitForEvents> waiter;
  factory_->CreateWaitForEvents(waiter.Out());
  EXPECT_EQ(waiter->Wait(nullptr, 0, false, 0, nullptr), VOLM_E_POINTER);
}

TEST_F(BadInput, NullOutPointersOfMakersAndGettersAreAccepted) {
  EXPECT_EQ(factory_->GetCounter(nullptr), VOLM_S_OK);
  EXPECT_EQ(factory_->GetSystemClock(nullptr), VOLM_S_OK);
  EXPECT_EQ(factory_->CreateWaitForEvents(nullptr), VOLM_S_OK);
  EXPECT_EQ(advanced_->CreateLocalCorrection(nullptr), VOLM_S_OK);
  EXPECT_EQ(relative_->GetCorrectionFunction(nullptr), VOLM_S_OK);
  EXPECT_EQ(relative_->CreateTimer(nullptr), VOLM_S_OK);
}

TEST_F(BadInput, NullNamesAreRefused) {
  Ref<IClock> clock;
  Ref<IPiecewiseLinearCorrection> function;
  EXPECT_EQ(factory_->CreateSynchronizedClock(nullptr, clock.Out()), VOLM_E_POINTER);
  EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(nullptr, function.Out()), VOLM_E_POINTER);
  EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(nullptr, function.Out()), VOLM_E_POINTER);
}

TEST_F(BadInput, NamesOfNoStoreAreRefusedWithTheirReason) {
  Ref<IPiecewiseLinearCorrection> function;
  const Wide empty;
  EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(empty.c_str(), function.Out()), VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(factory_.Get()),
            "The shared memory >< is not available (the name is empty).");
  // A character that narrows to NUL ends the name there: here nothing is left of it.
  const Wide narrowsToNul = {static_cast<VolmWideChar>(0x0100), 'b', 0};
  EXPECT_EQ(advanced_->CreateSharedMemoryCorrection(narrowsToNul.c_str(), function.Out()),
            VOLM_E_FAIL);
  EXPECT_EQ(LastErrorText(factory_.Get()),
            "The shared memory >< is not available (the name is empty).");
  Ref<IClock> clock;
  EXPECT_EQ(factory_->CreateSynchronizedClock(empty.c_str(), clock.Out()), VOLM_E_FAIL);
  // A reader of a name nobody created, and (on Linux) a name the platform refuses, get the
  // system's reason.
  std::vector<std::string> names = {UniqueName("volm-nobody")};
#if !defined(_WIN32)
  names.push_back(UniqueName("volm") + "/inside");
#endif
  for (const std::string& name : names) {
    const Wide wide(name.begin(), name.end());
    EXPECT_EQ(advanced_->OpenSharedMemoryCorrection(wide.c_str(), function.Out()), VOLM_E_FAIL);
    const std::string text = LastErrorText(factory_.Get());
    const std::string prefix = "The shared memory >" + name + "< is not available (";
    EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
    EXPECT_GT(text.size(), prefix.size() + 3) << text;
    EXPECT_EQ(text.substr(text.size() - 2), ").") << text;
  }
}

TEST_F(BadInput, WaitsOnBadHandleSetsFailAsAnOutcome) {
  Ref<IWaitForEvents> waiter;
  factory_->CreateWaitForEvents(waiter.Out());
  HostEvent event;
  std::vector<VolmHandle> many(VOLM_MAXIMUM_WAIT_OBJECTS + 1, event.Handle());
  std::uint32_t outcome = 0;
  EXPECT_EQ(waiter->Wait(many.data(), VOLM_MAXIMUM_WAIT_OBJECTS + 1, false, 0, &outcome),
            VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_FAILED);
  EXPECT_EQ(waiter->Wait(many.data(), 0, false, 0, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_FAILED);
  EXPECT_EQ(waiter->Wait(nullptr, 1, false, 0, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_FAILED);
  const VolmHandle none[] = {VolmHandle{}};
  EXPECT_EQ(waiter->Wait(none, 1, false, 0, &outcome), VOLM_S_OK);
#if !defined(_WIN32)
  // File descriptor 0 is a valid handle on Linux (standard input); -1 is the invalid one.
  const VolmHandle invalid[] = {-1};
  EXPECT_EQ(waiter->Wait(invalid, 1, false, 0, &outcome), VOLM_S_OK);
#endif
  EXPECT_EQ(outcome, VOLM_WAIT_FAILED);
}

// A clock on a shared function whose rate the writer set; the function's name is unique.
TEST_F(BadInput, RatesThatGiveNoTickCountAreRefusedAndAnInfiniteOneWaitsNoTick) {
  const std::string name = UniqueName("volm-rate");
  const Wide wide(name.begin(), name.end());
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(wide.c_str(), writer.Out()), VOLM_S_OK);
  Ref<IClock> clock;
  ASSERT_EQ(factory_->CreateSynchronizedClock(wide.c_str(), clock.Out()), VOLM_S_OK);
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(clock->CreateTimer(timer.Out()), VOLM_S_OK);
  const struct {
    double rate;
    const char* text;
  } rows[] = {{0.0, "The clock's correction function has no usable rate"},
              {1e-300, "The duration converts into more ticks than the counter can count"}};
  std::uint64_t tick = 0;
  for (const auto& row : rows) {
    ++tick;
    ASSERT_EQ(writer->AddSample(tick, row.rate, tick), VOLM_S_OK);
    ASSERT_EQ(writer->Publish(), VOLM_S_OK);
    EXPECT_EQ(clock->SleepTime(10'000), VOLM_E_FAIL);
    EXPECT_EQ(LastErrorText(clock.Get()).rfind(row.text, 0), 0u) << LastErrorText(clock.Get());
    EXPECT_EQ(timer->SetRelative(10'000), VOLM_E_FAIL);
    EXPECT_EQ(timer->SetPeriodic(10'000), VOLM_E_FAIL);
  }
  ++tick;
  ASSERT_EQ(writer->AddSample(tick, std::numeric_limits<double>::infinity(), tick), VOLM_S_OK);
  ASSERT_EQ(writer->Publish(), VOLM_S_OK);
  // Ten minutes last no tick: the sleep returns and the timer fires at once (the bound
  // only tells that apart from a real ten-minute wait).
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(clock->SleepTime(6'000'000'000), VOLM_S_OK);
  ASSERT_EQ(timer->SetRelative(6'000'000'000), VOLM_S_OK);
  std::int32_t outcome = 99;
  ASSERT_EQ(timer->Wait(VOLM_INFINITE, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
