// Reading time, evaluating a full store and appending, each next to the alternatives a host
// would otherwise use. Run: volm_benchmarks --benchmark_out=results.json
#include "HostFixture.h"

#include <absl/time/clock.h>
#include <benchmark/benchmark.h>
// The raw counter the Linux build reads: the baseline every clock is measured against.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>

LoadedVolmTime& Volm() {
  static LoadedVolmTime loaded;
  return loaded;
}

namespace {

constexpr std::uint64_t kFullStore = 524'272;

void RawCounterRead(benchmark::State& state) {
  for (auto _ : state) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    benchmark::DoNotOptimize(now);
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

// A shared function named `name` with `samples` samples one tick-millisecond apart, ending
// at the counter's current tick, so clock readings fall in the latest segment.
IPiecewiseLinearCorrection* SharedFunction(const std::string& name, std::uint64_t samples) {
  IPiecewiseLinearCorrection* writer = nullptr;
  Volm().advanced->CreateSharedMemoryCorrection(WideName(name).c_str(), &writer);
  IHighResolutionCounter* counter = nullptr;
  Volm().factory->GetCounter(&counter);
  std::uint64_t frequency = 0;
  std::uint64_t now = 0;
  counter->GetFrequency(&frequency);
  counter->GetTick(&now);
  counter->Release();
  // One millisecond apart, or closer on a machine that has not run that long yet.
  const std::uint64_t step =
      std::max<std::uint64_t>(1, std::min(frequency / 1000, now / (samples + 2)));
  const double rate = static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) / static_cast<double>(frequency);
  for (std::uint64_t i = 0; i < samples; ++i) {
    const std::uint64_t tick = now - (samples - i) * step;
    writer->AddSample(tick, rate, 1'000'000'000 + i * 10'000);
  }
  writer->Publish();
  return writer;
}

void NamedClock(benchmark::State& state, std::uint64_t samples) {
  const std::string name = "volm-bench-named-" + std::to_string(samples);
  IPiecewiseLinearCorrection* writer = SharedFunction(name, samples);
  IClock* clock = nullptr;
  Volm().factory->CreateSynchronizedClock(WideName(name).c_str(), &clock);
  ReadClock(state, clock);
  writer->Release();
}

void NamedClockOneSample(benchmark::State& state) { NamedClock(state, 1); }
BENCHMARK(NamedClockOneSample);

void NamedClockFullStore(benchmark::State& state) { NamedClock(state, kFullStore); }
BENCHMARK(NamedClockFullStore);

void EvaluateFullStore(benchmark::State& state, bool spread) {
  IPiecewiseLinearCorrection* writer = SharedFunction("volm-bench-evaluate", kFullStore);
  IPiecewiseLinearCorrection* reader = nullptr;
  Volm().advanced->OpenSharedMemoryCorrection(WideName("volm-bench-evaluate").c_str(), &reader);
  IHighResolutionCounter* counter = nullptr;
  Volm().factory->GetCounter(&counter);
  std::uint64_t frequency = 0;
  std::uint64_t now = 0;
  counter->GetFrequency(&frequency);
  counter->GetTick(&now);
  counter->Release();
  // Ticks through the whole history, or all in the latest segment.
  std::vector<std::uint64_t> ticks(4096);
  std::mt19937_64 random(7);
  const std::uint64_t step =
      std::max<std::uint64_t>(1, std::min(frequency / 1000, now / (kFullStore + 2)));
  const std::uint64_t span = (kFullStore - 2) * step;
  for (auto& tick : ticks) tick = spread ? now - step - random() % span : now + random() % 1000;
  std::size_t next = 0;
  std::uint64_t time = 0;
  for (auto _ : state) {
    reader->TickToTime(ticks[next++ & 4095], &time);
    benchmark::DoNotOptimize(time);
  }
  reader->Release();
  writer->Release();
}

void EvaluateFullStoreLatestSegment(benchmark::State& state) { EvaluateFullStore(state, false); }
BENCHMARK(EvaluateFullStoreLatestSegment);

void EvaluateFullStoreThroughHistory(benchmark::State& state) { EvaluateFullStore(state, true); }
BENCHMARK(EvaluateFullStoreThroughHistory);

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
