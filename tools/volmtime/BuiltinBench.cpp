// The benchmark set measured by the tool itself, for builds without Google Benchmark (the
// Windows one, run under Wine here): the same readings and wake-ups, timed with
// std::chrono, reported in the same tables.
#include "BuiltinBench.h"

#include "Library.h"
#include "RawCounter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Nanoseconds per call: the best of three runs of `calls` calls.
double NanosecondsPerCall(const std::function<void()>& call, int calls) {
  double best = 1e300;
  for (int run = 0; run < 3; ++run) {
    const auto start = Clock::now();
    for (int i = 0; i < calls; ++i) call();
    const double ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls;
    best = std::min(best, ns);
  }
  return best;
}

struct Lateness {
  double median;
  double p99;
};

Lateness Summarise(std::vector<double> microseconds) {
  std::sort(microseconds.begin(), microseconds.end());
  return {microseconds[microseconds.size() / 2],
          microseconds[std::min(microseconds.size() - 1, microseconds.size() * 99 / 100)]};
}

Lateness SleepLateness(const std::function<void(std::chrono::milliseconds)>& sleep, int ms, int rounds) {
  std::vector<double> late;
  for (int round = 0; round < rounds; ++round) {
    const auto start = Clock::now();
    sleep(std::chrono::milliseconds(ms));
    late.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count() - ms * 1000.0);
  }
  return Summarise(late);
}

}  // namespace

int RunBuiltinBench(int rounds) {
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
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()), factory,
        "creating a shared function");
  writer->AddSample(now, 10'000'000.0 / static_cast<double>(frequency), 1'000'000);
  writer->Publish();
  Ref<IClock> named;
  Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory, "opening a named clock");

  constexpr int kCalls = 1'000'000;
  std::uint64_t sink = 0;
  const double raw = NanosecondsPerCall([&] { sink += ReadRawCounter(); }, kCalls);
  const double steady = NanosecondsPerCall([&] { sink += static_cast<std::uint64_t>(Clock::now().time_since_epoch().count()); }, kCalls);
  const double relativeNs = NanosecondsPerCall([&] { std::uint64_t t = 0; relative->GetTime(&t); sink += t; }, kCalls);
  const double systemNs = NanosecondsPerCall([&] { std::uint64_t t = 0; system->GetTime(&t); sink += t; }, kCalls);
  const double namedNs = NanosecondsPerCall([&] { std::uint64_t t = 0; named->GetTime(&t); sink += t; }, kCalls);
  std::uint64_t tick = now;
  const double appendNs = NanosecondsPerCall([&] { writer->AddSample(++tick, 1.0, tick); writer->Publish(); }, kCalls / 10);

  std::printf("built-in benchmarks (no Google Benchmark in this build); baseline %s\n\n", kRawCounterName);
  std::printf("| reading time | ns per call | ratio to the raw counter read |\n|---|---:|---:|\n");
  const auto row = [raw](const char* what, double ns) { std::printf("| %s | %.1f | %.2fx |\n", what, ns, ns / raw); };
  row("raw counter read", raw);
  row("std::chrono::steady_clock::now()", steady);
  row("relative clock GetTime", relativeNs);
  row("system clock GetTime", systemNs);
  row("named clock GetTime, one sample", namedNs);
  row("AddSample + Publish", appendNs);

  std::printf("\n| waking up | median late (us) | p99 late (us) |\n|---|---:|---:|\n");
  for (const int ms : {1, 5, 20}) {
    const Lateness library_ = SleepLateness(
        [&](std::chrono::milliseconds duration) { relative->SleepTime(static_cast<std::uint64_t>(duration.count()) * 10'000); },
        ms, rounds);
    const Lateness standard = SleepLateness([](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }, ms, rounds);
    std::printf("| SleepTime %d ms | %.1f | %.1f |\n| std::this_thread::sleep_for %d ms | %.1f | %.1f |\n", ms,
                library_.median, library_.p99, ms, standard.median, standard.p99);
  }
  Ref<IWaitableTimer> timer;
  Check(relative->CreateTimer(timer.Out()), relative.Get(), "CreateTimer");
  for (const int ms : {1, 10}) {
    timer->SetPeriodic(static_cast<std::uint64_t>(ms) * 10'000);
    std::int32_t outcome = 0;
    timer->Wait(VOLM_INFINITE, &outcome);
    std::vector<double> jitter;
    auto previous = Clock::now();
    for (int round = 0; round < rounds * 2; ++round) {
      timer->Wait(VOLM_INFINITE, &outcome);
      const auto at = Clock::now();
      jitter.push_back(std::abs(std::chrono::duration<double, std::micro>(at - previous).count() - ms * 1000.0));
      previous = at;
    }
    timer->Cancel();
    const Lateness summary = Summarise(jitter);
    std::printf("| periodic timer %d ms, jitter | %.1f | %.1f |\n", ms, summary.median, summary.p99);
  }
  return sink == 0 ? 1 : 0;
}
