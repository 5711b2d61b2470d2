// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "StoreAnalysis.h"
#include "StoreMapping.h"
#include "StoreView.h"
#include "TimeFormat.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

int RunWatch(const ToolOptions& options) {
  const std::string& name = options.name;
  const auto interval = std::chrono::duration<double, std::milli>(options.intervalMs);
  std::ofstream report;
  if (!options.report.empty()) {
    report.open(options.report);
    if (!report) throw CommandError("cannot write the report " + options.report);
  }

  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IClock> named;
  Ref<IClock> system;
  Ref<IHighResolutionCounter> counter;
  Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory,
        "opening the named clock \"" + name + "\"");
  Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  const StoreMapping mapping(name);

  if (!options.quiet && options.csv)
    std::printf("timestamp,clock_time,offset_ns,rate_ppm,last_update_age_s,stale\n");
  const auto start = std::chrono::steady_clock::now();
  bool wasStale = false;
  while (!gStopRequested.load()) {
    std::uint64_t before = 0;
    std::uint64_t time = 0;
    std::uint64_t after = 0;
    std::uint64_t tick = 0;
    Check(system->GetTime(&before), system.Get(), "reading the system clock");
    const VolmResult read = named->GetTime(&time);
    Check(system->GetTime(&after), system.Get(), "reading the system clock");
    Check(counter->GetTick(&tick), counter.Get(), "reading the counter");
    // Against the system time in the middle of the reading.
    const std::uint64_t reference = before + (after - before) / 2;
    const std::int64_t offset = Difference(time, reference);
    StoreContents contents;
    const bool haveStore = ReadStore(mapping.Address(), VolmTime::kLatestRingSize, contents) &&
                           !contents.samples.empty();
    const TrackingState state =
        haveStore ? Track(contents.samples, frequency, tick) : TrackingState{};
    const bool stale = !haveStore || state.stale;
    if (!options.quiet) {
      if (!VolmSucceeded(read)) {
        std::printf("%s  \"%s\" cannot be read now (0x%08X)\n", Timestamp().c_str(), name.c_str(),
                    static_cast<unsigned>(read));
      } else if (options.json) {
        nlohmann::ordered_json line = {{"timestamp", Timestamp()},
                                       {"clock_time", FormatSystemTime(time)},
                                       {"clock_time_100ns", std::to_string(time)},
                                       {"offset_ns", offset * 100},
                                       {"rate_ppm", state.latestRatePpm},
                                       {"last_update_age_s", state.lastUpdateAgeS},
                                       {"stale", stale}};
        std::printf("%s\n", line.dump().c_str());
      } else if (options.csv) {
        std::printf("%s,%s,%lld,%.4f,%.3f,%d\n", Timestamp().c_str(),
                    FormatSystemTime(time).c_str(), static_cast<long long>(offset * 100),
                    state.latestRatePpm, state.lastUpdateAgeS, stale ? 1 : 0);
      } else {
        std::printf("%s  clock %s  offset %s  rate %+10.4f ppm  updated %.2f s ago%s\n",
                    Timestamp().c_str(), FormatSystemTime(time).c_str(),
                    FormatOffsetUs(offset).c_str(), state.latestRatePpm, state.lastUpdateAgeS,
                    stale ? "  STALE: its publisher has stopped updating" : "");
      }
      std::fflush(stdout);
    }
    if (stale && !wasStale && options.quiet)
      std::fprintf(stderr, "%s  \"%s\" is stale: no update for %.1f s\n", Timestamp().c_str(),
                   name.c_str(), state.lastUpdateAgeS);
    wasStale = stale;
    if (report && VolmSucceeded(read)) report << reference << ' ' << offset << '\n' << std::flush;
    if (options.durationS > 0 && std::chrono::steady_clock::now() - start >=
                                     std::chrono::duration<double>(options.durationS))
      break;
    std::this_thread::sleep_for(interval);
  }
  return 0;
}
