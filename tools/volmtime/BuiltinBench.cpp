// SPDX-License-Identifier: MIT
// The benchmark set measured by the tool itself, for builds without Google Benchmark (the
// Windows one, run under Wine here): the same readings and wake-ups, timed with
// std::chrono, reported in the same tables.
#include "BuiltinBench.h"

#include "BenchReport.h"
#include "Commands.h"
#include "Library.h"
#include "RawCounter.h"
#include "Statistics.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Nanoseconds per call over `repetitions` runs of `calls` calls each.
Summary NanosecondsPerCall(const std::function<void()>& call, int calls, int repetitions) {
  std::vector<double> runs;
  for (int run = 0; run < repetitions; ++run) {
    const auto start = Clock::now();
    for (int i = 0; i < calls; ++i) call();
    runs.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls);
  }
  return Summarise(runs);
}

struct Lateness {
  double median;
  double p99;
};

Lateness LatenessOf(std::vector<double> microseconds) {
  std::sort(microseconds.begin(), microseconds.end());
  return {microseconds[microseconds.size() / 2],
          microseconds[std::min(microseconds.size() - 1, microseconds.size() * 99 / 100)]};
}

Lateness SleepLateness(const std::function<void(std::chrono::milliseconds)>& sleep, int ms,
                       int rounds) {
  std::vector<double> late;
  for (int round = 0; round < rounds; ++round) {
    const auto start = Clock::now();
    sleep(std::chrono::milliseconds(ms));
    late.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() -
                   ms * 1000.0);
  }
  return LatenessOf(late);
}

}  // namespace

int RunBuiltinBench(int rounds, int repetitions, const std::string& jsonPath,
                    const std::string& why) {
  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IClock> relative;
  Ref<IClock> system;
  Ref<IHighResolutionCounter> counter;
  factory->GetRelativeClock(relative.Out());
  factory->GetSystemClock(system.Out());
  factory->GetCounter(counter.Out());
  std::uint64_t frequency = 0;
  std::uint64_t now = 0;
  counter->GetFrequency(&frequency);
  counter->GetTick(&now);

  // A named clock over a function with one sample, published just now.
  const std::string name = "volmtime-bench-" + std::to_string(now);
  Ref<IPiecewiseLinearCorrection> writer;
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()),
        factory, "creating a shared function");
  writer->AddSample(now, static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) / static_cast<double>(frequency), 1'000'000);
  writer->Publish();
  Ref<IClock> named;
  Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory,
        "opening a named clock");

  // A full store, as a publisher leaves it after days: samples 10 us apart (closer on a
  // machine that has not run that long) ending now, or with random gaps of that mean.
  constexpr std::uint64_t kFullStore = 524'272;
  const std::uint64_t step =
      std::max<std::uint64_t>(1, std::min(frequency / 100'000, now / (kFullStore * 3)));
  std::mt19937_64 random(11);
  const auto fillStore = [&](Ref<IPiecewiseLinearCorrection>& full, const std::string& storeName,
                             bool evenlySpaced) {
    Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(storeName).c_str(), full.Out()),
          factory, "creating a full shared function");
    std::exponential_distribution<double> gap(1.0 / static_cast<double>(step));
    std::uint64_t sampleTick = now - 2 * kFullStore * step;
    for (std::uint64_t i = 0; i < kFullStore; ++i) {
      full->AddSample(sampleTick, 10'000'000.0 / static_cast<double>(frequency),
                      1'000'000'000 + i * 10'000);
      sampleTick += evenlySpaced ? step : 1 + static_cast<std::uint64_t>(gap(random));
    }
    full->Publish();
  };
  Ref<IPiecewiseLinearCorrection> evenStore;
  Ref<IPiecewiseLinearCorrection> unevenStore;
  fillStore(evenStore, name + "-even", true);
  fillStore(unevenStore, name + "-uneven", false);
  Ref<IClock> namedFull;
  Check(factory->CreateSynchronizedClock(Widen(name + "-even").c_str(), namedFull.Out()), factory,
        "opening a named clock over a full store");
  // A publisher's holdover sample lies ahead of the counter: readings fall in the segment
  // before the latest sample.
  Ref<IPiecewiseLinearCorrection> aheadStore;
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name + "-ahead").c_str(),
                                                         aheadStore.Out()),
        factory, "creating a shared function with a sample ahead");
  aheadStore->AddSample(now, 10'000'000.0 / static_cast<double>(frequency), 1'000'000);
  aheadStore->AddSample(now + 3600 * frequency, 10'000'000.0 / static_cast<double>(frequency),
                        2'000'000);
  aheadStore->Publish();
  Ref<IClock> namedAhead;
  Check(factory->CreateSynchronizedClock(Widen(name + "-ahead").c_str(), namedAhead.Out()), factory,
        "opening a named clock with a sample ahead");
  // Ticks anywhere from the first sample to the latest.
  const auto deepTicks = [&](IPiecewiseLinearCorrection* store) {
    std::uint64_t first = 0;
    std::uint64_t time = 0;
    store->TimeToTick(1'000'000'000, &first);
    store->TimeToTick(1'000'000'000 + (kFullStore - 1) * 10'000, &time);
    std::vector<std::uint64_t> ticks(4096);
    for (auto& each : ticks) each = first + random() % (time - first);
    return ticks;
  };
  const std::vector<std::uint64_t> evenTicks = deepTicks(evenStore.Get());
  const std::vector<std::uint64_t> unevenTicks = deepTicks(unevenStore.Get());
  std::size_t next = 0;

  constexpr int kCalls = 300'000;
  std::uint64_t sink = 0;
  struct Reading {
    const char* what;
    std::function<void()> call;
    int calls;
  };
  std::uint64_t tick = now;
  const Reading readings[] = {
      {"raw counter read", [&] { sink += ReadRawCounter(); }, kCalls},
      {"std::chrono::steady_clock::now()",
       [&] { sink += static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()); },
       kCalls},
      {"relative clock GetTime",
       [&] {
         std::uint64_t t = 0;
         relative->GetTime(&t);
         sink += t;
       },
       kCalls},
      {"system clock GetTime",
       [&] {
         std::uint64_t t = 0;
         system->GetTime(&t);
         sink += t;
       },
       kCalls},
      {"named clock GetTime, one sample",
       [&] {
         std::uint64_t t = 0;
         named->GetTime(&t);
         sink += t;
       },
       kCalls},
      {"named clock GetTime, full store",
       [&] {
         std::uint64_t t = 0;
         namedFull->GetTime(&t);
         sink += t;
       },
       kCalls},
      {"named clock GetTime, before the latest sample",
       [&] {
         std::uint64_t t = 0;
         namedAhead->GetTime(&t);
         sink += t;
       },
       kCalls},
      {"TickToTime deep in a full store, 10 us apart",
       [&] {
         std::uint64_t t = 0;
         evenStore->TickToTime(evenTicks[next++ & 4095], &t);
         sink += t;
       },
       kCalls},
      {"TickToTime deep in a full store, random gaps",
       [&] {
         std::uint64_t t = 0;
         unevenStore->TickToTime(unevenTicks[next++ & 4095], &t);
         sink += t;
       },
       kCalls},
      {"AddSample + Publish",
       [&] {
         writer->AddSample(++tick, 1.0, tick);
         writer->Publish();
       },
       kCalls / 10},
  };
  BenchConditions conditions = MeasuredConditions();
  std::printf("built-in benchmarks (%s), %d repetitions; baseline %s\n", why.c_str(), repetitions,
              kRawCounterName);
  PrintConditions(conditions);
  nlohmann::ordered_json results = {
      {"context",
       {{"clock_source", conditions.clockSource},
        {"load_avg", conditions.loadAverage ? nlohmann::ordered_json(*conditions.loadAverage)
                                            : nlohmann::ordered_json()},
        {"num_cpus", conditions.cpus},
        {"build_type", conditions.buildType},
        {"repetitions", repetitions},
        {"baseline", kRawCounterName}}},
      {"readings", nlohmann::ordered_json::array()},
      {"wake_ups", nlohmann::ordered_json::array()}};
  std::printf(
      "\n| reading time | mean ns | median ns | spread (stddev) | median ratio to the raw counter "
      "read |\n"
      "|---|---:|---:|---:|---:|\n");
  double raw = 0;
  for (const Reading& reading : readings) {
    const Summary summary = NanosecondsPerCall(reading.call, reading.calls, repetitions);
    if (raw == 0) raw = summary.median;
    std::printf("| %s | %.1f | %.1f | %.1f | %.2fx |\n", reading.what, summary.mean, summary.median,
                summary.stddev, summary.median / raw);
    results["readings"].push_back({{"name", reading.what},
                                   {"mean_ns", summary.mean},
                                   {"median_ns", summary.median},
                                   {"stddev_ns", summary.stddev}});
  }

  std::printf("\n| waking up | median late (us) | p99 late (us) |\n|---|---:|---:|\n");
  for (const int ms : {1, 5, 20}) {
    const Lateness library_ = SleepLateness(
        [&](std::chrono::milliseconds duration) {
          relative->SleepTime(static_cast<std::uint64_t>(duration.count()) * 10'000);
        },
        ms, rounds);
    const Lateness standard = SleepLateness(
        [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }, ms,
        rounds);
    std::printf(
        "| SleepTime %d ms | %.1f | %.1f |\n| std::this_thread::sleep_for %d ms | %.1f | %.1f |\n",
        ms, library_.median, library_.p99, ms, standard.median, standard.p99);
    results["wake_ups"].push_back({{"name", "SleepTime " + std::to_string(ms) + " ms"},
                                   {"median_late_us", library_.median},
                                   {"p99_late_us", library_.p99}});
    results["wake_ups"].push_back(
        {{"name", "std::this_thread::sleep_for " + std::to_string(ms) + " ms"},
         {"median_late_us", standard.median},
         {"p99_late_us", standard.p99}});
  }
  Ref<IWaitableTimer> timer;
  CreateCheckedTimer(relative.Get(), timer);
  for (const int ms : {1, 10}) {
    timer->SetPeriodic(static_cast<std::uint64_t>(ms) * 10'000);
    std::int32_t outcome = 0;
    timer->Wait(VOLM_INFINITE, &outcome);
    std::vector<double> jitter;
    auto previous = Clock::now();
    for (int round = 0; round < rounds * 2; ++round) {
      timer->Wait(VOLM_INFINITE, &outcome);
      const auto at = Clock::now();
      jitter.push_back(
          std::abs(std::chrono::duration<double, std::micro>(at - previous).count() - ms * 1000.0));
      previous = at;
    }
    timer->Cancel();
    const Lateness summary = LatenessOf(jitter);
    std::printf("| periodic timer %d ms, jitter | %.1f | %.1f |\n", ms, summary.median,
                summary.p99);
    results["wake_ups"].push_back({{"name", "periodic timer " + std::to_string(ms) + " ms, jitter"},
                                   {"median_us", summary.median},
                                   {"p99_us", summary.p99}});
  }
  if (!jsonPath.empty()) {
    std::ofstream file(jsonPath);
    file << results.dump(2) << '\n';
    file.close();
    if (!file) throw CommandError("cannot write " + jsonPath);
    std::printf("\nfull results: %s\n", jsonPath.c_str());
  }
  return sink == 0 ? 1 : 0;
}
