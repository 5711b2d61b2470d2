// One path end to end through each public interface, on the platform's counter, clock and
// timers: the joins between the parts, which the suites below the host test one by one.
#include "LoadedLibrary.h"

#include "tests/support/HostEvent.h"
#include "tests/support/UniqueName.h"

#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::uint64_t kUnitsPerMs = 10'000;
using Wide = std::basic_string<VolmWideChar>;

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

using Paths = FactoryHostTest;

TEST_F(Paths, CounterAndRelativeClockCountHundredNanosecondsFromTheFactorysStart) {
  Ref<IHighResolutionCounter> counter;
  ASSERT_EQ(factory_->GetCounter(counter.Out()), VOLM_S_OK);
  Ref<IVolmWideCharString> name;
  ASSERT_EQ(counter->GetName(name.Out()), VOLM_S_OK);
  EXPECT_EQ(TextOf(name.Get()), "QPC timer");
  std::uint64_t frequency = 0;
  ASSERT_EQ(counter->GetFrequency(&frequency), VOLM_S_OK);
  Ref<ICorrectionFunction> correction;
  ASSERT_EQ(relative_->GetCorrectionFunction(correction.Out()), VOLM_S_OK);
  double rate = 0;
  ASSERT_EQ(correction->GetRate(&rate), VOLM_S_OK);
  EXPECT_DOUBLE_EQ(rate, 10'000'000.0 / static_cast<double>(frequency));
  std::uint64_t start = 0;
  ASSERT_EQ(relative_->GetTime(&start), VOLM_S_OK);
  EXPECT_LT(start, 5'000 * kUnitsPerMs);
  const auto hostStart = Clock::now();
  ASSERT_EQ(relative_->SleepTime(200 * kUnitsPerMs), VOLM_S_OK);
  std::uint64_t end = 0;
  ASSERT_EQ(relative_->GetTime(&end), VOLM_S_OK);
  const double hostMs = MillisecondsSince(hostStart);
  EXPECT_GE(end - start, 200 * kUnitsPerMs);
  EXPECT_NEAR(static_cast<double>(end - start) / kUnitsPerMs, hostMs, 0.05 * hostMs + 20.0);
  std::uint64_t tick = 0;
  ASSERT_EQ(correction->TimeToTick(end, &tick), VOLM_S_OK);
  std::uint64_t back = 0;
  ASSERT_EQ(correction->TickToTime(tick, &back), VOLM_S_OK);
  EXPECT_NEAR(static_cast<double>(back), static_cast<double>(end), rate + 1.0);
}

TEST_F(Paths, TimersFireCancelAndWaitBesideTheHostsOwnEvent) {
  Ref<IWaitableTimer> timer;
  ASSERT_EQ(relative_->CreateTimer(timer.Out()), VOLM_S_OK);
  Ref<IWaitForEvents> waiter;
  ASSERT_EQ(factory_->CreateWaitForEvents(waiter.Out()), VOLM_S_OK);
  VolmHandle timerHandle{};
  ASSERT_EQ(timer->GetHandle(&timerHandle), VOLM_S_OK);
  HostEvent hostEvent;
  const VolmHandle handles[] = {hostEvent.Handle(), timerHandle};
  const auto start = Clock::now();
  ASSERT_EQ(timer->SetPeriodic(20 * kUnitsPerMs), VOLM_S_OK);
  std::uint32_t outcome = 0;
  for (int firing = 0; firing < 3; ++firing) {
    ASSERT_EQ(waiter->Wait(handles, 2, false, 5'000, &outcome), VOLM_S_OK);
    EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0 + 1);
  }
  EXPECT_GE(MillisecondsSince(start), 55.0);
  hostEvent.Signal();
  ASSERT_EQ(waiter->Wait(handles, 2, false, 5'000, &outcome), VOLM_S_OK);
  EXPECT_EQ(outcome, VOLM_WAIT_OBJECT_0);
  ASSERT_EQ(timer->SetRelative(600'000 * kUnitsPerMs), VOLM_S_OK);  // re-armed: not periodic
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(timer->Cancel(), VOLM_S_OK);
  });
  std::int32_t timerOutcome = 99;
  ASSERT_EQ(timer->Wait(VOLM_INFINITE, &timerOutcome), VOLM_S_OK);
  canceller.join();
  EXPECT_EQ(timerOutcome, -1);
}

TEST_F(Paths, NamedClockShowsTheTimeTheWriterPublishes) {
  const std::string narrow = UniqueName("volm-path");
  const Wide name(narrow.begin(), narrow.end());
  Ref<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced_->CreateSharedMemoryCorrection(name.c_str(), writer.Out()), VOLM_S_OK);
  Ref<IHighResolutionCounter> counter;
  factory_->GetCounter(counter.Out());
  std::uint64_t tick = 0;
  ASSERT_EQ(counter->GetTick(&tick), VOLM_S_OK);
  ASSERT_EQ(writer->AddSample(tick, 1e-6, 5'000'000'000), VOLM_S_OK);
  ASSERT_EQ(writer->Publish(), VOLM_S_OK);
  Ref<IClock> named;
  ASSERT_EQ(factory_->CreateSynchronizedClock(name.c_str(), named.Out()), VOLM_S_OK);
  std::uint64_t time = 0;
  ASSERT_EQ(named->GetTime(&time), VOLM_S_OK);
  EXPECT_GE(time, 5'000'000'000u);
  EXPECT_LT(time, 5'000'000'000u + 1'000'000);
}

}  // namespace
