// Many threads at once on every kind of object, bounded in time: nothing races (the
// sanitizer builds watch), nothing fails, nothing is left alive.
#include "VolmTime/VolmTimeFactory.h"
#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Runs `body(thread)` on four threads for 1.5 s; counts its failures.
template <typename Body>
int RunThreads(Body body) {
  std::atomic<int> failures{0};
  const auto until = Clock::now() + std::chrono::milliseconds(1500);
  std::vector<std::thread> running;
  for (int t = 0; t < 4; ++t) {
    running.emplace_back([&, t] {
      while (Clock::now() < until) failures += body(t) ? 0 : 1;
    });
  }
  for (auto& thread : running) thread.join();
  return failures.load();
}

using Stress = LeakChecked;

TEST_F(Stress, EveryKindOfClockReadWhileAWriterPublishesAndNamedClocksComeAndGo) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  const WideString name = WidenBytes(UniqueName("volm-stress"));
  CVolmPtr<IPiecewiseLinearCorrection> writer;
  CVolmPtr<IHighResolutionCounter> counter;
  CVolmPtr<IClock> system;
  factory->GetCounter(counter.Put());
  factory->GetSystemClock(system.Put());
  ASSERT_EQ(advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Put()), VOLM_S_OK);
  // The store starts with one sample behind the current tick, so reading never fails.
  std::uint64_t lastTick = 0;
  std::uint64_t lastTime = 0;
  const auto append = [&] {
    std::uint64_t tick = 0;
    std::uint64_t time = 0;
    counter->GetTick(&tick);
    system->GetTime(&time);
    if (tick <= lastTick || time <= lastTime) return true;
    lastTick = tick;
    lastTime = time;
    return writer->AddSample(tick, 0.01, time) == VOLM_S_OK && writer->Publish() == VOLM_S_OK;
  };
  ASSERT_TRUE(append());
  const int failures = RunThreads([&](int thread) {
    if (thread == 0) return append();  // the one writer
    // The others make named clocks on the store (one a storm of them) and read every kind.
    CVolmPtr<IClock> relative;
    CVolmPtr<IClock> named;
    factory->GetRelativeClock(relative.Put());
    if (factory->CreateSynchronizedClock(name.c_str(), named.Put()) != VOLM_S_OK) return false;
    std::uint64_t time = 0;
    for (int i = 0; i < (thread == 1 ? 1 : 100); ++i) {
      if (relative->GetTime(&time) != VOLM_S_OK || system->GetTime(&time) != VOLM_S_OK ||
          named->GetTime(&time) != VOLM_S_OK) {
        return false;
      }
    }
    return true;
  });
  EXPECT_EQ(failures, 0);
}

TEST_F(Stress, TimersArmedWaitedAndCancelledFromSeveralThreads) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IClock> clock;
  factory->GetRelativeClock(clock.Put());
  CVolmPtr<IWaitableTimer> timer;
  ASSERT_EQ(clock->CreateTimer(timer.Put()), VOLM_S_OK);
  std::atomic<int> outcomes{0};
  const int failures = RunThreads([&](int thread) {
    switch (thread) {
      case 0:
        return timer->SetRelative(2'000) == VOLM_S_OK;  // 0.2 ms
      case 1:
        return timer->SetPeriodic(10'000) == VOLM_S_OK;
      case 2:
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        return timer->Cancel() == VOLM_S_OK;
      default: {
        std::int32_t outcome = 1;
        if (timer->Wait(50, &outcome) != VOLM_S_OK) return false;
        ++outcomes;
        return outcome == 0 || outcome == -1;  // fired or cancelled
      }
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(outcomes.load(), 0);
}

}  // namespace
