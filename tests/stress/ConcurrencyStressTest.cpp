// Many threads at once on every kind of object, bounded in time: nothing races (the
// sanitizer builds watch), nothing fails, nothing is left alive.
#include "VolmTime/Module/ModuleEntry.h"
#include "VolmTime/VolmTimeFactory.h"
#include "framework/CVolmPtr.h"
#include "framework/LiveObjects.h"

#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kRunFor = std::chrono::milliseconds(1500);

WideString Wide(const std::string& text) { return WidenBytes(text); }

class Stress : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(GetLiveObjectCount(), liveBefore_); }

  // Runs `body` on `threads` threads until the time is up; counts its failures.
  template <typename Body>
  int RunThreads(int threads, Body body) {
    std::atomic<int> failures{0};
    const auto until = Clock::now() + kRunFor;
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
      running.emplace_back([&, t] {
        while (Clock::now() < until) {
          if (!body(t)) ++failures;
        }
      });
    }
    for (auto& thread : running) thread.join();
    return failures.load();
  }

  std::uint32_t liveBefore_ = GetLiveObjectCount();
};

TEST_F(Stress, EveryKindOfClockReadWhileAWriterPublishesAndNamedClocksComeAndGo) {
  CVolmPtr<VolmTime::VolmTimeFactory> factory(new VolmTime::VolmTimeFactory);
  CVolmPtr<IVolmTimeFactoryAdvanced> advanced;
  factory->QueryInterface(VolmIds().timeFactoryAdvanced, advanced.PutVoid());
  const std::vector<std::string> names = {UniqueName("volm-stress"), UniqueName("volm-stress")};
  std::vector<CVolmPtr<IPiecewiseLinearCorrection>> writers(names.size());
  CVolmPtr<IHighResolutionCounter> counter;
  CVolmPtr<IClock> system;
  factory->GetCounter(counter.Put());
  factory->GetSystemClock(system.Put());
  for (std::size_t i = 0; i < names.size(); ++i) {
    ASSERT_EQ(advanced->CreateSharedMemoryCorrection(Wide(names[i]).c_str(), writers[i].Put()),
              VOLM_S_OK);
  }
  // Each store starts with one sample behind the current tick, so reading never fails.
  const auto append = [&](IPiecewiseLinearCorrection* writer, std::uint64_t& lastTick,
                          std::uint64_t& lastTime) {
    std::uint64_t tick = 0;
    std::uint64_t time = 0;
    counter->GetTick(&tick);
    system->GetTime(&time);
    if (tick <= lastTick || time <= lastTime) return true;
    const bool ok =
        writer->AddSample(tick, 0.01, time) == VOLM_S_OK && writer->Publish() == VOLM_S_OK;
    lastTick = tick;
    lastTime = time;
    return ok;
  };
  std::vector<std::uint64_t> lastTicks(names.size(), 0);
  std::vector<std::uint64_t> lastTimes(names.size(), 0);
  for (std::size_t i = 0; i < names.size(); ++i)
    ASSERT_TRUE(append(writers[i].Get(), lastTicks[i], lastTimes[i]));

  const int failures = RunThreads(4, [&](int thread) {
    if (thread == 0) {
      // The one writer thread of both stores.
      for (std::size_t i = 0; i < names.size(); ++i) {
        if (!append(writers[i].Get(), lastTicks[i], lastTimes[i])) return false;
      }
      return true;
    }
    if (thread == 1) {
      // A storm of named clocks on a few names.
      IClock* named = nullptr;
      const std::string& name =
          names[static_cast<std::size_t>(Clock::now().time_since_epoch().count()) % names.size()];
      if (factory->CreateSynchronizedClock(Wide(name).c_str(), &named) != VOLM_S_OK) return false;
      std::uint64_t time = 0;
      const bool ok = named->GetTime(&time) == VOLM_S_OK;
      named->Release();
      return ok;
    }
    // Readers of the relative, the system and a named clock.
    CVolmPtr<IClock> relative;
    CVolmPtr<IClock> named;
    factory->GetRelativeClock(relative.Put());
    if (factory->CreateSynchronizedClock(Wide(names[0]).c_str(), named.Put()) != VOLM_S_OK)
      return false;
    std::uint64_t time = 0;
    for (int i = 0; i < 100; ++i) {
      if (relative->GetTime(&time) != VOLM_S_OK || system->GetTime(&time) != VOLM_S_OK ||
          named->GetTime(&time) != VOLM_S_OK) {
        return false;
      }
    }
    return true;
  });
  EXPECT_EQ(failures, 0);
}

TEST_F(Stress, FactoriesComeAndGoWhileOtherThreadsHoldTheirClocks) {
  std::atomic<IClock*> handedOver{nullptr};
  const int failures = RunThreads(3, [&](int thread) {
    if (thread == 0) {
      // Makes a factory, passes its clock on and gives the factory back.
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
    // Uses whatever clock it gets hold of, after its factory is gone.
    IClock* clock = handedOver.exchange(nullptr);
    if (clock == nullptr) return true;
    std::uint64_t time = 0;
    const bool ok = clock->GetTime(&time) == VOLM_S_OK;
    clock->Release();
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
  std::atomic<int> fired{0};
  std::atomic<int> cancelled{0};
  const int failures = RunThreads(4, [&](int thread) {
    switch (thread) {
      case 0:
        return timer->SetRelative(2'000) == VOLM_S_OK;  // 0.2 ms
      case 1:
        return timer->SetPeriodic(10'000) == VOLM_S_OK;
      case 2: {
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        return timer->Cancel() == VOLM_S_OK;
      }
      default: {
        std::int32_t outcome = 1;
        if (timer->Wait(50, &outcome) != VOLM_S_OK) return false;
        (outcome == -1 ? cancelled : fired)++;
        return outcome == 0 || outcome == -1;
      }
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(fired.load() + cancelled.load(), 0);
}

}  // namespace
