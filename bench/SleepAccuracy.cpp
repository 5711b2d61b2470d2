// How late sleeps and periodic timers wake, next to the standard library's and the
// platform's own, on an idle machine and with busy processes that the benchmark starts and
// stops itself (argument `busy`: that many processes, each spinning on a processor). Each
// benchmark reports its numbers in microseconds as counters.
#include "HostFixture.h"

#include "tools/common/ChildProcess.h"

#include <benchmark/benchmark.h>
// clock_nanosleep and timerfd: the platform's own sleep and periodic timer, the floor a
// library can reach.
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
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
      busy_.push_back(std::make_unique<ChildProcess>(ProgramDirectory() + "/volm_benchmarks",
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

// Arguments: the sleep in milliseconds, the number of busy processes.
template <typename Sleep>
void MeasureSleep(benchmark::State& state, Sleep&& sleep) {
  const auto requested = std::chrono::milliseconds(state.range(0));
  const Load load(state.range(1));
  std::vector<double> lateness;
  for (auto _ : state) {
    for (int round = 0; round < kRounds; ++round) {
      const auto start = Clock::now();
      sleep(requested);
      lateness.push_back(
          std::chrono::duration<double, std::micro>(Clock::now() - start - requested).count());
    }
  }
  state.counters["median_us"] = Median(lateness);
  state.counters["p99_us"] = Percentile99(lateness);
}

void SleepArguments(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"ms", "busy"});
  for (const std::int64_t ms : {1, 5, 20}) benchmark->Args({ms, 0});
  benchmark->Args({5, 2});
  benchmark->Iterations(1)->Unit(benchmark::kMillisecond);
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
BENCHMARK(SleepTime)->Apply(SleepArguments);

void StdSleepFor(benchmark::State& state) {
  MeasureSleep(state,
               [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); });
}
BENCHMARK(StdSleepFor)->Apply(SleepArguments);

void ClockNanosleep(benchmark::State& state) {
  MeasureSleep(state, [](std::chrono::milliseconds duration) {
    const timespec request{0, static_cast<long>(duration.count()) * 1'000'000L};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr);
  });
}
BENCHMARK(ClockNanosleep)->Apply(SleepArguments);

// Arguments: the period in milliseconds, the number of busy processes. `waitOnce` waits for
// one firing. Reports the mean interval and the median and 99th percentile of how far an
// interval was from the period.
template <typename WaitOnce>
void MeasurePeriodic(benchmark::State& state, WaitOnce&& waitOnce) {
  const auto period = std::chrono::milliseconds(state.range(0));
  std::vector<double> intervals;
  for (auto _ : state) {
    waitOnce();
    auto previous = Clock::now();
    for (int round = 0; round < kRounds * 4; ++round) {
      waitOnce();
      const auto now = Clock::now();
      intervals.push_back(std::chrono::duration<double, std::micro>(now - previous).count());
      previous = now;
    }
  }
  const double periodUs = std::chrono::duration<double, std::micro>(period).count();
  std::vector<double> deviation(intervals.size());
  std::transform(intervals.begin(), intervals.end(), deviation.begin(),
                 [periodUs](double interval) { return std::abs(interval - periodUs); });
  state.counters["mean_interval_us"] =
      std::accumulate(intervals.begin(), intervals.end(), 0.0) /
      static_cast<double>(intervals.size());
  state.counters["median_us"] = Median(deviation);
  state.counters["p99_us"] = Percentile99(deviation);
}

void PeriodicArguments(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"ms", "busy"});
  benchmark->Args({1, 0})->Args({10, 0})->Args({1, 2})->Args({1, 5});
  benchmark->Iterations(1)->Unit(benchmark::kMillisecond);
}

void PeriodicTimerJitter(benchmark::State& state) {
  const Load load(state.range(1));
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  IWaitableTimer* timer = nullptr;
  clock->CreateTimer(&timer);
  timer->SetPeriodic(static_cast<std::uint64_t>(state.range(0)) * 10'000);
  MeasurePeriodic(state, [timer] {
    std::int32_t outcome = 0;
    timer->Wait(VOLM_INFINITE, &outcome);
  });
  timer->Cancel();
  timer->Release();
  clock->Release();
}
BENCHMARK(PeriodicTimerJitter)->Apply(PeriodicArguments);

// The platform's own periodic timer, read as a plain program would read it.
void TimerfdJitter(benchmark::State& state) {
  const Load load(state.range(1));
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const long periodNs = static_cast<long>(state.range(0)) * 1'000'000L;
  const itimerspec setting{{0, periodNs}, {0, periodNs}};
  timerfd_settime(timer, 0, &setting, nullptr);
  MeasurePeriodic(state, [timer] {
    std::uint64_t expirations = 0;
    benchmark::DoNotOptimize(read(timer, &expirations, sizeof expirations));
  });
  close(timer);
}
BENCHMARK(TimerfdJitter)->Apply(PeriodicArguments);

}  // namespace
