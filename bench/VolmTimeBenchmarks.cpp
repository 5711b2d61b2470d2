// SPDX-License-Identifier: MIT
// Reading time, evaluating a full store and appending, each next to the alternatives a host
// would otherwise use. Run: volm_benchmarks --benchmark_out=results.json
#include "HostFixture.h"
#include "linux/PlatformBaselines.h"
#include "tools/common/Process.h"

#include <absl/time/clock.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

LoadedVolmTime& Volm() {
  static LoadedVolmTime loaded;
  return loaded;
}

namespace {

constexpr std::uint64_t kFullStore = 524'272;

void RawCounterRead(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(ReadPlatformCounter());
  }
}
BENCHMARK(RawCounterRead);

void SteadyClockNow(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(std::chrono::steady_clock::now());
}
BENCHMARK(SteadyClockNow);

void AbslNow(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(absl::Now());
}
BENCHMARK(AbslNow);

void ReadClock(benchmark::State& state, IClock* clock) {
  std::uint64_t time = 0;
  for (auto _ : state) {
    clock->GetTime(&time);
    benchmark::DoNotOptimize(time);
  }
  clock->Release();
}

void RelativeClockGetTime(benchmark::State& state) {
  IClock* clock = nullptr;
  Volm().factory->GetRelativeClock(&clock);
  ReadClock(state, clock);
}
BENCHMARK(RelativeClockGetTime);

void SystemClockGetTime(benchmark::State& state) {
  IClock* clock = nullptr;
  Volm().factory->GetSystemClock(&clock);
  ReadClock(state, clock);
}
BENCHMARK(SystemClockGetTime);

struct CounterInfo {
  std::uint64_t frequency = 0;
  std::uint64_t now = 0;
};

CounterInfo ReadCounter() {
  IHighResolutionCounter* counter = nullptr;
  Volm().factory->GetCounter(&counter);
  CounterInfo info;
  counter->GetFrequency(&info.frequency);
  counter->GetTick(&info.now);
  counter->Release();
  return info;
}

// The ticks of `samples` samples ending just before the counter's current tick, 10 us apart
// as a publisher would append them (closer on a machine that has not run that long), or
// with random gaps of that mean.
std::vector<std::uint64_t> SampleTicks(std::uint64_t samples, bool evenlySpaced) {
  const CounterInfo counter = ReadCounter();
  const std::uint64_t step = std::max<std::uint64_t>(
      1, std::min(counter.frequency / 100'000, counter.now / (samples * 3)));
  std::vector<std::uint64_t> gaps(samples, step);
  if (!evenlySpaced) {
    std::mt19937_64 random(11);
    std::exponential_distribution<double> gap(1.0 / static_cast<double>(step));
    for (auto& each : gaps) each = 1 + static_cast<std::uint64_t>(gap(random));
  }
  std::vector<std::uint64_t> ticks(samples);
  std::uint64_t tick = counter.now - step;
  for (std::uint64_t i = samples; i-- > 0;) {
    ticks[i] = tick;
    tick -= gaps[i];
  }
  return ticks;
}

// A shared function named `name` over `ticks`, each segment at the counter's nominal rate.
IPiecewiseLinearCorrection* SharedFunction(const std::string& name,
                                           const std::vector<std::uint64_t>& ticks) {
  IPiecewiseLinearCorrection* writer = nullptr;
  Volm().advanced->CreateSharedMemoryCorrection(WideName(name).c_str(), &writer);
  const double rate = static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) /
                      static_cast<double>(ReadCounter().frequency);
  for (std::size_t i = 0; i < ticks.size(); ++i) {
    writer->AddSample(ticks[i], rate, 1'000'000'000 + i * 10'000);
  }
  writer->Publish();
  return writer;
}

void NamedClock(benchmark::State& state, const std::string& name,
                const std::vector<std::uint64_t>& ticks) {
  IPiecewiseLinearCorrection* writer = SharedFunction(name, ticks);
  IClock* clock = nullptr;
  Volm().factory->CreateSynchronizedClock(WideName(name).c_str(), &clock);
  ReadClock(state, clock);
  writer->Release();
}

void NamedClockOneSample(benchmark::State& state) {
  NamedClock(state, "volm-bench-named-one", SampleTicks(1, true));
}
BENCHMARK(NamedClockOneSample);

void NamedClockFullStore(benchmark::State& state) {
  NamedClock(state, "volm-bench-named-full", SampleTicks(kFullStore, true));
}
BENCHMARK(NamedClockFullStore);

// A full store whose latest sample lies an hour ahead of the counter, as a publisher's
// holdover sample lies ahead: every reading falls in the segment before the latest.
void NamedClockBeforeLatest(benchmark::State& state) {
  std::vector<std::uint64_t> ticks = SampleTicks(kFullStore - 1, true);
  const CounterInfo counter = ReadCounter();
  ticks.push_back(counter.now + 3600 * counter.frequency);
  NamedClock(state, "volm-bench-named-before-latest", ticks);
}
BENCHMARK(NamedClockBeforeLatest);

enum class Where { kLatestSegment, kHistoryEven, kHistoryUneven };

void EvaluateFullStore(benchmark::State& state, Where where) {
  const std::vector<std::uint64_t> sampleTicks =
      SampleTicks(kFullStore, where != Where::kHistoryUneven);
  IPiecewiseLinearCorrection* writer = SharedFunction("volm-bench-evaluate", sampleTicks);
  IPiecewiseLinearCorrection* reader = nullptr;
  Volm().advanced->OpenSharedMemoryCorrection(WideName("volm-bench-evaluate").c_str(), &reader);
  // Ticks anywhere in the history, or all in the latest segment.
  std::vector<std::uint64_t> ticks(4096);
  std::mt19937_64 random(7);
  const std::uint64_t first = sampleTicks.front();
  const std::uint64_t span = sampleTicks.back() - first;
  for (auto& tick : ticks) {
    tick = where == Where::kLatestSegment ? sampleTicks.back() + random() % 1000
                                          : first + random() % span;
  }
  std::size_t next = 0;
  std::uint64_t time = 0;
  for (auto _ : state) {
    reader->TickToTime(ticks[next++ & 4095], &time);
    benchmark::DoNotOptimize(time);
  }
  reader->Release();
  writer->Release();
}

void EvaluateFullStoreLatestSegment(benchmark::State& state) {
  EvaluateFullStore(state, Where::kLatestSegment);
}
BENCHMARK(EvaluateFullStoreLatestSegment);

void EvaluateFullStoreThroughHistory(benchmark::State& state) {
  EvaluateFullStore(state, Where::kHistoryEven);
}
BENCHMARK(EvaluateFullStoreThroughHistory);

void EvaluateFullStoreUnevenHistory(benchmark::State& state) {
  EvaluateFullStore(state, Where::kHistoryUneven);
}
BENCHMARK(EvaluateFullStoreUnevenHistory);

void AddSampleAndPublish(benchmark::State& state) {
  IPiecewiseLinearCorrection* writer = nullptr;
  Volm().advanced->CreateLocalCorrection(&writer);
  std::uint64_t tick = 1;
  for (auto _ : state) {
    writer->AddSample(tick, 1.0, tick);
    writer->Publish();
    ++tick;
  }
  writer->Release();
}
BENCHMARK(AddSampleAndPublish);

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string(argv[1]) == kBusyArgument) {
    // Killed by the benchmark that started it.
    for (std::uint64_t spin = 0;; ++spin) benchmark::DoNotOptimize(spin);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  // Printed beside the load average and kept in the results' context.
  const std::string clockSource = ClockSource();
  benchmark::AddCustomContext("clock_source", clockSource.empty() ? "unknown" : clockSource);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
