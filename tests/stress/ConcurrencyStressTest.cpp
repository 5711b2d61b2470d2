// Many threads at once on every kind of object, bounded in time: nothing races (the
// sanitizer builds watch), nothing fails, nothing is left alive.
#include "VolmTime/ModuleEntry.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/LiveObjects.h"

#include "tests/support/Helpers.h"
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

class Stress : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }
  // Runs `body(thread)` on `threads` threads for 1.5 s; counts its failures.
  template <typename Body>
  static int RunThreads(int threads, Body body) {
    std::atomic<int> failures{0};
    const auto until = Clock::now() + std::chrono::milliseconds(1500);
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
      running.emplace_back([&, t] {
        while (Clock::now() < until) failures += body(t) ? 0 : 1;
      });
    }
    for (auto& thread : running) thread.join();
    return failures.load();
  }
  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

// One thread publishes, one makes and drops named clocks, two read every kind of clock.
TEST_F(Stress, EveryKindOfClockReadWhileAWriterPublishesAndNamedClocksComeAndGo) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  CVolmPtr<IPiecewiseLinearCorrection> writer;
  CVolmPtr<IHighResolutionCounter> counter;
  CVolmPtr<IClock> system;
  const WideString name = Wide(UniqueName("volm-stress"));
  factory->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  factory->GetCounter(counter.Put());
  factory->GetSystemClock(system.Put());
  ASSERT_EQ(advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Put()), VOLM_S_OK);
  // Every sample lies behind the current tick, so reading never fails.
  std::uint64_t lastTick = 0;
  const auto append = [&] {
    std::uint64_t tick = 0;
    counter->GetTick(&tick);
    if (tick <= lastTick) return true;
    lastTick = tick;
    return writer->AddSample(tick, 0.01, tick) == VOLM_S_OK && writer->Publish() == VOLM_S_OK;
  };
  ASSERT_TRUE(append());
  const int failures = RunThreads(4, [&](int thread) {
    if (thread == 0) {
      // Real writers publish some thousand times a second; one that never paused would lap
      // every reader for good, which the lapped-reader test covers.
      std::this_thread::sleep_for(std::chrono::microseconds(50));
      return append();
    }
    CVolmPtr<IClock> named;
    if (factory->CreateSynchronizedClock(name.c_str(), named.Put()) != VOLM_S_OK) return false;
    CVolmPtr<IClock> relative;
    factory->GetRelativeClock(relative.Put());
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

// Factories die and are rebuilt while other threads use the clocks they handed out.
TEST_F(Stress, FactoriesComeAndGoWhileOtherThreadsHoldTheirClocks) {
  std::atomic<IClock*> handedOver{nullptr};
  const int failures = RunThreads(3, [&](int thread) {
    if (thread == 0) {
      void* object = nullptr;
      if (VolmTime::CreateFactoryInstance(VolmIds().timeFactoryClass, &object) != VOLM_S_OK)
        return false;
      auto* factory = static_cast<IVolmTimeFactory*>(object);
      factory->AddRef();
      IClock* clock = nullptr;
      factory->GetRelativeClock(&clock);
      factory->Release();
      if (IClock* old = handedOver.exchange(clock)) old->Release();
      return true;
    }
    IClock* clock = handedOver.exchange(nullptr);
    std::uint64_t time = 0;
    const bool ok = clock == nullptr || clock->GetTime(&time) == VOLM_S_OK;
    if (clock != nullptr) clock->Release();
    return ok;
  });
  if (IClock* left = handedOver.exchange(nullptr)) left->Release();
  EXPECT_EQ(failures, 0);
}

TEST_F(Stress, TimersArmedWaitedAndCancelledFromSeveralThreads) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IClock> clock;
  factory->GetRelativeClock(clock.Put());
  CVolmPtr<IWaitableTimer> timer;
  ASSERT_EQ(clock->CreateTimer(timer.Put()), VOLM_S_OK);
  std::atomic<int> outcomes{0};
  const int failures = RunThreads(4, [&](int thread) {
    if (thread == 0) return timer->SetRelative(2'000) == VOLM_S_OK;  // 0.2 ms
    if (thread == 1) return timer->SetPeriodic(10'000) == VOLM_S_OK;
    if (thread == 2) {
      std::this_thread::sleep_for(std::chrono::microseconds(300));
      return timer->Cancel() == VOLM_S_OK;
    }
    std::int32_t outcome = 1;
    if (timer->Wait(50, &outcome) != VOLM_S_OK) return false;
    ++outcomes;
    return outcome == 0 || outcome == -1;
  });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(outcomes.load(), 0);
}

}  // namespace
