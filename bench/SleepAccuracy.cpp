// How late sleeps and periodic timers wake, next to the standard library's and the
// platform's own sleep. Each benchmark reports the median and 99th percentile in
// microseconds as counters.
#include "HostFixture.h"

#include <benchmark/benchmark.h>
// clock_nanosleep: the platform's own sleep, the floor a library can reach.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRounds = 60;

void Report(benchmark::State& state, std::vector<double> lateness) {
  std::sort(lateness.begin(), lateness.end());
  state.counters["median_us"] = lateness[lateness.size() / 2];
  state.counters["p99_us"] = lateness[std::min(lateness.size() - 1, lateness.size() * 99 / 100)];
}

template <typename Sleep>
void MeasureSleep(benchmark::State& state, Sleep&& sleep) {
  const auto requested = std::chrono::milliseconds(state.range(0));
  std::vector<double> lateness;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {
      const auto start = Clock::now();
      sleep(requested);
      lateness.push_back(
          std::chrono::duration<double, std::micro>(Clock::now() - start - requested).count());
    }
  }
  Report(state, lateness);
}

void SleepTime(benchmark::State& state) {
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  MeasureSleep(state, [clock](std::chrono::milliseconds duration) {
    const std::uint64_t units = static_cast<std::uint64_t>(duration.count()) * 10'000;
    clock->SleepTime(units);
  });
  clock->Release();
}
BENCHMARK(SleepTime)->Arg(1)->Arg(5)->Arg(20)->Iterations(1)->Unit(benchmark::kMillisecond);

void StdSleepFor(benchmark::State& state) {
  MeasureSleep(state,
               [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); });
}
BENCHMARK(StdSleepFor)->Arg(1)->Arg(5)->Arg(20)->Iterations(1)->Unit(benchmark::kMillisecond);

void ClockNanosleep(benchmark::State& state) {
  MeasureSleep(state, [](std::chrono::milliseconds duration) {
    const timespec request{0, static_cast<long>(duration.count()) * 1'000'000L};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr);
  });
}
BENCHMARK(ClockNanosleep)->Arg(1)->Arg(5)->Arg(20)->Iterations(1)->Unit(benchmark::kMillisecond);

void PeriodicTimerJitter(benchmark::State& state) {
  const auto period = std::chrono::milliseconds(state.range(0));
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  IWaitableTimer* timer = nullptr;
  clock->CreateTimer(&timer);
  std::vector<double> jitter;
  for (auto _ : state) {
    timer->SetPeriodic(static_cast<std::uint64_t>(period.count()) * 10'000);
    std::int32_t outcome = 0;
    timer->Wait(VOLM_INFINITE, &outcome);
    auto previous = Clock::now();
    for (int round = 0; round < kRounds * 2; ++round) {
      timer->Wait(VOLM_INFINITE, &outcome);
      const auto now = Clock::now();
      jitter.push_back(
          std::abs(std::chrono::duration<double, std::micro>(now - previous - period).count()));
      previous = now;
    }
    timer->Cancel();
  }
  Report(state, jitter);
  timer->Release();
  clock->Release();
}
BENCHMARK(PeriodicTimerJitter)->Arg(1)->Arg(10)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
