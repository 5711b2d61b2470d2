// SPDX-License-Identifier: MIT
// Many threads at once on every kind of object, bounded in time: nothing races (the
// sanitizer builds watch), nothing fails, nothing is left alive.
#include "VolmTime/VolmTimeFactory.h"
#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Stress = LeakChecked;

TEST_F(Stress, AWriterNamedClocksAndATimerUsedFromEightThreadsAtOnce) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  const WideString name = WidenBytes(UniqueName("volm-stress"));
  CVolmPtr<IPiecewiseLinearCorrection> writer;
  ASSERT_EQ(advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Put()), VOLM_S_OK);
  CVolmPtr<IHighResolutionCounter> counter;
  CVolmPtr<IClock> relative;
  CVolmPtr<IWaitableTimer> timer;
  factory->GetCounter(counter.Put());
  factory->GetRelativeClock(relative.Put());
  ASSERT_EQ(relative->CreateTimer(timer.Put()), VOLM_S_OK);
  // Samples lie on time = tick / 128 at multiples of 128 ticks; the first one lies behind
  // every reading, so reading never fails.
  std::uint64_t lastTick = 0;
  const auto append = [&] {
    std::uint64_t tick = 0;
    counter->GetTick(&tick);
    tick -= tick % 128;
    if (tick <= lastTick) return true;
    lastTick = tick;
    return writer->AddSample(tick, 1.0 / 128, tick / 128) == VOLM_S_OK &&
           writer->Publish() == VOLM_S_OK;
  };
  ASSERT_TRUE(append());
  // Thread 0 writes; 1 to 3 make named clocks on the store (1 a storm of them) and read them;
  // 4 to 7 arm, cancel and wait on one timer.
  std::atomic<int> outcomes{0};
  const auto step = [&](int thread) {
    if (thread == 0) return append();
    if (thread == 4) return timer->SetRelative(2'000) == VOLM_S_OK;  // 0.2 ms
    if (thread == 5) return timer->SetPeriodic(10'000) == VOLM_S_OK;
    if (thread == 6) {
      std::this_thread::sleep_for(std::chrono::microseconds(300));
      return timer->Cancel() == VOLM_S_OK;
    }
    if (thread == 7) {
      std::int32_t outcome = 1;
      if (timer->Wait(50, &outcome) != VOLM_S_OK) return false;
      ++outcomes;
      return outcome == 0 || outcome == -1;  // fired or cancelled
    }
    CVolmPtr<IClock> named;
    if (factory->CreateSynchronizedClock(name.c_str(), named.Put()) != VOLM_S_OK) return false;
    std::uint64_t time = 0;
    for (int i = 0; i < (thread == 1 ? 1 : 100); ++i)
      if (named->GetTime(&time) != VOLM_S_OK) return false;
    return true;
  };
  std::atomic<int> failures{0};
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      // At least one step each, however late a busy machine starts the thread.
      do {
        failures += step(t) ? 0 : 1;
      } while (std::chrono::steady_clock::now() < until);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_GT(outcomes.load(), 0);
}

}  // namespace
