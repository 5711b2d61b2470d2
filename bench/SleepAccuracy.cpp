// SPDX-License-Identifier: MIT
// How late sleeps and periodic timers wake, next to the standard library's and the
// platform's own, on an idle machine and with busy processes that the benchmark starts and
// stops itself (argument `busy`: that many processes, each spinning on a processor). Each
// benchmark reports its numbers in microseconds as counters.
#include "HostFixture.h"

#include "linux/PlatformBaselines.h"
#include "tools/common/ChildProcess.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRounds = 60;

// Busy processes for as long as it lives: copies of this program that spin until killed.
class Load {
 public:
  explicit Load(std::int64_t processes) {
    for (std::int64_t i = 0; i < processes; ++i) {
      busy_.push_back(std::make_unique<ChildProcess>(SiblingProgram("volm_benchmarks"),
                                                     std::vector<std::string>{kBusyArgument}));
    }
    // Let the scheduler see them as the hogs they are before anything is measured.
    if (processes > 0) std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }

 private:
  std::vector<std::unique_ptr<ChildProcess>> busy_;
};

double Percentile99(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, values.size() * 99 / 100)];
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double Mean(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

// A way to wait that is measured side by side with the others: the counters it reports have
// its name as their prefix.
struct Way {
  const char* name;
  std::function<void()> waitOnce;
  std::vector<double> measured;
};

// Arguments: the sleep in milliseconds, the number of busy processes. Each round sleeps
// once each way in turn, so that the library, the standard library and the platform meet the
// same machine even while other work on it comes and goes. Reports how late each woke: the
// median and the 99th percentile in microseconds.
void Sleeps(benchmark::State& state) {
  const auto requested = std::chrono::milliseconds(state.range(0));
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  const std::uint64_t units = static_cast<std::uint64_t>(requested.count()) * 10'000;
  Way ways[] = {
      {"SleepTime", [clock, units] { clock->SleepTime(units); }, {}},
      {"sleep_for", [requested] { std::this_thread::sleep_for(requested); }, {}},
      {"clock_nanosleep", [requested] { PlatformSleep(requested); }, {}},
  };
  const Load load(state.range(1));
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {
      for (Way& way : ways) {
        const auto start = Clock::now();
        way.waitOnce();
        way.measured.push_back(
            std::chrono::duration<double, std::micro>(Clock::now() - start - requested).count());
      }
    }
  }
  for (const Way& way : ways) {
    state.counters[std::string(way.name) + "_median_us"] = Median(way.measured);
    state.counters[std::string(way.name) + "_p99_us"] = Percentile99(way.measured);
  }
  clock->Release();
}
BENCHMARK(Sleeps)
    ->ArgNames({"ms", "busy"})
    ->Args({1, 0})
    ->Args({5, 0})
    ->Args({20, 0})
    ->Args({5, 2})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// Arguments: the period in milliseconds, the number of busy processes, and 1 to wait in a
// thread of real-time priority (skipped where the process may not take one). The library's
// periodic timer and the platform's (timerfd, read as a plain program reads it) take turns,
// kTurns turns of kRounds intervals each. Only the timer of the turn runs, so that the
// other's firings do not land in its measurements. Reports for each the mean interval and the
// median and 99th percentile of how far an interval was from the period, in microseconds.
constexpr int kTurns = 8;

void PeriodicTimers(benchmark::State& state) {
  std::optional<RealTimePriority> realTime;
  if (state.range(2) != 0 && !realTime.emplace().Taken()) {
    state.SkipWithError(
        "this process may not take a real-time priority (root or CAP_SYS_NICE may)");
    return;
  }
  const std::int64_t periodMs = state.range(0);
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  IWaitableTimer* timer = nullptr;
  clock->CreateTimer(&timer);
  // A timer is made even without a platform timer behind it; only its handle tells.
  VolmHandle handle{};
  if (timer == nullptr || timer->GetHandle(&handle) != VOLM_S_OK) {
    state.SkipWithError(("the timer has no platform timer: " + LastErrorText(timer)).c_str());
    if (timer != nullptr) timer->Release();
    clock->Release();
    return;
  }
  std::optional<PlatformPeriodicTimer> timerfd;
  Way ways[] = {
      {"timer",
       [timer] {
         std::int32_t outcome = 0;
         timer->Wait(VOLM_INFINITE, &outcome);
       },
       {}},
      {"timerfd", [&timerfd] { timerfd->Wait(); }, {}},
  };
  const std::function<void()> start[] = {
      [timer, periodMs] { timer->SetPeriodic(static_cast<std::uint64_t>(periodMs) * 10'000); },
      [&timerfd, periodMs] { timerfd.emplace(std::chrono::milliseconds(periodMs)); },
  };
  const std::function<void()> stop[] = {[timer] { timer->Cancel(); },
                                        [&timerfd] { timerfd.reset(); }};
  const Load load(state.range(1));
  for (auto _ : state) {
    // A turn each before the measured ones: the first waits after the load started meet a
    // scheduler still placing the busy processes, and in the same turns for the same way, it
    // showed as one plain timerfd losing more periods than another.
    for (int turn = -1; turn < kTurns; ++turn) {
      // Each goes first in every other turn.
      for (int place = 0; place < 2; ++place) {
        const int index = (place + turn + 2) % 2;
        Way& way = ways[index];
        start[index]();
        // The first wait may take a firing kept from the timer's last turn, the second starts
        // on a firing.
        way.waitOnce();
        way.waitOnce();
        auto previous = Clock::now();
        for (int round = 0; round < kRounds; ++round) {
          way.waitOnce();
          const auto now = Clock::now();
          if (turn >= 0) {
            way.measured.push_back(
                std::chrono::duration<double, std::micro>(now - previous).count());
          }
          previous = now;
        }
        stop[index]();
      }
    }
  }
  const double periodUs = static_cast<double>(periodMs) * 1000.0;
  for (const Way& way : ways) {
    std::vector<double> deviation(way.measured.size());
    std::transform(way.measured.begin(), way.measured.end(), deviation.begin(),
                   [periodUs](double interval) { return std::abs(interval - periodUs); });
    state.counters[std::string(way.name) + "_mean_interval_us"] = Mean(way.measured);
    state.counters[std::string(way.name) + "_median_us"] = Median(deviation);
    state.counters[std::string(way.name) + "_p99_us"] = Percentile99(deviation);
  }
  timer->Release();
  clock->Release();
}
BENCHMARK(PeriodicTimers)
    ->ArgNames({"ms", "busy", "realtime"})
    ->Args({1, 0, 0})
    ->Args({10, 0, 0})
    ->Args({1, 2, 0})
    ->Args({1, 5, 0})
    ->Args({1, 2, 1})
    ->Args({1, 5, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
