#include "Commands.h"
#include "Library.h"
#include "TimeFormat.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

int RunWatch(const Arguments& arguments) {
  arguments.Allow({"--interval-ms", "--duration-s", "--report", "--quiet"});
  if (arguments.Positional().size() != 1) throw UsageError("watch needs exactly one NAME");
  const std::string name = arguments.Positional()[0];
  const auto interval = std::chrono::milliseconds(
      static_cast<long>(arguments.Number("--interval-ms", 200, 1, 3'600'000)));
  const double duration = arguments.Number("--duration-s", 0, 0, 1e9);
  const bool quiet = arguments.Has("--quiet");
  std::ofstream report;
  if (arguments.Has("--report")) {
    report.open(arguments.Text("--report", ""));
    if (!report) throw UsageError("cannot write " + arguments.Text("--report", ""));
  }

  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IClock> named;
  Ref<IClock> system;
  Ref<IHighResolutionCounter> counter;
  Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory,
        "opening the named clock " + name);
  Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  Ref<ICorrectionFunction> correction;
  Check(named->GetCorrectionFunction(correction.Out()), named.Get(), "GetCorrectionFunction");

  const auto start = std::chrono::steady_clock::now();
  while (!gStopRequested.load()) {
    std::uint64_t before = 0;
    std::uint64_t time = 0;
    std::uint64_t after = 0;
    Check(system->GetTime(&before), system.Get(), "reading the system clock");
    Check(named->GetTime(&time), named.Get(), "reading the named clock");
    Check(system->GetTime(&after), system.Get(), "reading the system clock");
    // Against the system time in the middle of the reading.
    const std::uint64_t reference = before + (after - before) / 2;
    const auto offset = static_cast<std::int64_t>(time - reference);
    double rate = 0;
    Check(correction->GetRate(&rate), correction.Get(), "GetRate");
    if (!quiet) {
      std::printf("%s  offset %s  rate %+9.3f ppm\n", FormatSystemTime(time).c_str(),
                  FormatOffsetMs(offset).c_str(), (rate / NominalRate(frequency) - 1.0) * 1e6);
      std::fflush(stdout);
    }
    if (report) report << reference << ' ' << offset << '\n' << std::flush;
    if (duration > 0 &&
        std::chrono::steady_clock::now() - start >= std::chrono::duration<double>(duration))
      break;
    std::this_thread::sleep_for(interval);
  }
  return 0;
}
