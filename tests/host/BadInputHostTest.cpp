// What a host gets for bad input, row by row as the README's table states it.
#include "LoadedLibrary.h"

#include "tests/support/HostEvent.h"

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

TEST_F(BadInput, EmptyNamesAreRefusedWithTheirReason) {
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

TEST_F(BadInput, UnusableRatesAreRefusedBeforeAnyWait) {
  Ref<IPiecewiseLinearCorrection> function;
  ASSERT_EQ(advanced_->CreateLocalCorrection(function.Out()), VOLM_S_OK);
  // A function whose only rate is 0 has no usable rate for durations.
  ASSERT_EQ(function->AddSample(1, 0.0, 1), VOLM_S_OK);
  ASSERT_EQ(function->Publish(), VOLM_S_OK);
  double rate = 1;
  ASSERT_EQ(function->GetRate(&rate), VOLM_S_OK);
  EXPECT_EQ(rate, 0.0);
}

}  // namespace
