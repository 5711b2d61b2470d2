// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "ReferenceClock.h"
#include "StoreAnalysis.h"
#include "StoreMapping.h"
#include "StoreView.h"
#include "Svg.h"
#include "TimeFormat.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace {

// The store's samples, newest `maxSamples`, with errors that name the store.
StoreContents ReadNamedStore(const std::string& name, std::size_t maxSamples) {
  std::unique_ptr<StoreMapping> mapping;
  try {
    mapping = std::make_unique<StoreMapping>(name);
  } catch (const std::exception& failure) {
    throw CommandError("store \"" + name + "\": " + failure.what());
  }
  if (mapping->Size() < sizeof(VolmTime::SampleStore)) {
    throw CommandError("store \"" + name + "\" holds " + std::to_string(mapping->Size()) +
                       " bytes, a store needs " + std::to_string(sizeof(VolmTime::SampleStore)));
  }
  StoreContents contents;
  if (!ReadStore(mapping->Address(), maxSamples, contents))
    throw CommandError("store \"" + name + "\" changed too fast to be read");
  if (contents.version != VolmTime::kSampleStoreVersion)
    throw CommandError("store \"" + name + "\" has layout version " +
                       std::to_string(contents.version) + ", this tool reads version " +
                       std::to_string(VolmTime::kSampleStoreVersion));
  return contents;
}

// The counter's frequency and a reading of it now, from the library.
struct CounterNow {
  std::uint64_t frequency = 0;
  std::uint64_t tick = 0;
};

CounterNow ReadCounter(const Library& library) {
  Ref<IHighResolutionCounter> counter;
  Check(library.Factory()->GetCounter(counter.Out()), library.Factory(), "GetCounter");
  CounterNow now;
  Check(counter->GetFrequency(&now.frequency), counter.Get(), "GetFrequency");
  Check(counter->GetTick(&now.tick), counter.Get(), "GetTick");
  return now;
}

double SecondsBetween(std::uint64_t laterTick, std::uint64_t tick, std::uint64_t frequency) {
  return static_cast<double>(Difference(laterTick, tick)) / static_cast<double>(frequency);
}

void WritePlot(const std::string& path, const std::string& name,
               const std::vector<CorrectionSample>& all, const CounterNow& now, double windowS) {
  std::vector<CorrectionSample> samples;
  for (const CorrectionSample& sample : all)
    if (windowS <= 0 || SecondsBetween(now.tick, sample.tick, now.frequency) <= windowS)
      samples.push_back(sample);
  Plot plot{"volmtime inspect " + name + ": " + std::to_string(samples.size()) + " samples",
            "time before now (s)",
            {},
            {{"offset from the line through the first and last sample", "µs", {}, "offset"},
             {"rate against the counter's nominal rate", "ppm", {}, "rate"}}};
  const double nominal = NominalRate(now.frequency);
  const std::vector<double> offsets = OffsetsFromLine(samples);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    plot.x.push_back(-SecondsBetween(now.tick, samples[i].tick, now.frequency));
    plot.panels[0].values.push_back(offsets[i] / 10.0);
    plot.panels[1].values.push_back(RatePpm(samples[i].rate, nominal));
  }
  std::ofstream file(path, std::ios::binary);
  file << DrawPlot(plot);
  file.close();
  if (!file) throw CommandError("cannot write the plot " + path);
}

}  // namespace

int RunInspect(const ToolOptions& options) {
  const std::string& name = options.name;
  // Checked first, so that a plot that cannot be written costs no work.
  if (!options.svg.empty() && !std::ofstream(options.svg, std::ios::app))
    throw CommandError("cannot write the plot " + options.svg);
  const StoreContents contents =
      ReadNamedStore(name, options.svg.empty() ? options.last + 1 : VolmTime::kHistoryCapacity);
  Library library;
  const CounterNow now = ReadCounter(library);
  const double nominal = NominalRate(now.frequency);
  const std::size_t shown = std::min(options.last, contents.samples.size());
  const std::vector<CorrectionSample> rows(
      contents.samples.end() - static_cast<std::ptrdiff_t>(shown), contents.samples.end());
  // Steps need the sample before the first row too, where there is one.
  const std::vector<CorrectionSample> withBefore(
      contents.samples.end() -
          static_cast<std::ptrdiff_t>(std::min(shown + 1, contents.samples.size())),
      contents.samples.end());
  std::vector<std::int64_t> steps = UpdateSteps(withBefore);
  if (steps.size() < rows.size()) steps.insert(steps.begin(), 0);
  const TrackingState state = Track(contents.samples, now.frequency, now.tick);

  if (options.json) {
    nlohmann::ordered_json document = {{"store", name},
                                       {"version", contents.version},
                                       {"capacity", contents.capacity},
                                       {"count", contents.count},
                                       {"full", contents.full},
                                       {"latest_valid", contents.latestValid},
                                       {"counter_frequency", now.frequency},
                                       {"last_update_age_s", state.lastUpdateAgeS},
                                       {"stale", state.stale},
                                       {"samples", nlohmann::ordered_json::array()}};
    // Ticks and times pass 2^53, past what a reader that parses numbers as doubles keeps
    // exactly: they are strings, the times also as ISO-8601 text.
    for (std::size_t i = 0; i < rows.size(); ++i) {
      document["samples"].push_back({{"tick", std::to_string(rows[i].tick)},
                                     {"time", FormatSystemTime(rows[i].time)},
                                     {"time_100ns", std::to_string(rows[i].time)},
                                     {"rate", rows[i].rate},
                                     {"rate_ppm", RatePpm(rows[i].rate, nominal)},
                                     {"step_ns", steps[i] * 100}});
    }
    std::printf("%s\n", document.dump(2).c_str());
  } else if (options.csv) {
    std::printf("tick,time,rate,rate_ppm,step_ns\n");
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::printf("%llu,%llu,%.17g,%.6f,%lld\n", static_cast<unsigned long long>(rows[i].tick),
                  static_cast<unsigned long long>(rows[i].time), rows[i].rate,
                  RatePpm(rows[i].rate, nominal), static_cast<long long>(steps[i] * 100));
    }
  } else {
    std::printf("store       %s\nversion     %u\ncapacity    %u\ncount       %u%s%s\n",
                name.c_str(), contents.version, contents.capacity, contents.count,
                contents.full ? ", full" : "", contents.latestValid ? "" : ", no readable samples");
    if (!rows.empty()) {
      std::printf("last update %.3f s ago%s\n\n", state.lastUpdateAgeS,
                  state.stale ? ", STALE: its publisher has stopped updating" : "");
      std::printf("%22s  %-28s %14s %14s\n", "tick", "time", "rate (ppm)", "step");
      for (std::size_t i = 0; i < rows.size(); ++i) {
        std::printf("%22llu  %-28s %+14.4f %14s\n", static_cast<unsigned long long>(rows[i].tick),
                    FormatSystemTime(rows[i].time).c_str(), RatePpm(rows[i].rate, nominal),
                    FormatOffsetUs(steps[i]).c_str());
      }
    }
  }
  if (!options.svg.empty()) WritePlot(options.svg, name, contents.samples, now, options.windowS);
  return 0;
}

int RunTracking(const ToolOptions& options) {
  const std::string& name = options.name;
  // Two samples per update, and the slewing sample of the oldest update's predecessor.
  const StoreContents contents = ReadNamedStore(name, 2 * options.samples);
  if (contents.samples.empty()) throw CommandError("store \"" + name + "\" has no samples");
  const std::unique_ptr<ReferenceClock> reference = OpenReferenceClock(options.reference);
  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IClock> named;
  Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory,
        "opening the named clock \"" + name + "\"");
  // The narrowest of a few reference-named-reference readings.
  std::int64_t offsetNs = 0;
  std::uint64_t widthNs = UINT64_MAX;
  for (int attempt = 0; attempt < 8; ++attempt) {
    const std::uint64_t before = reference->ReadNs();
    std::uint64_t time = 0;
    Check(named->GetTime(&time), named.Get(), "reading the named clock \"" + name + "\"");
    const std::uint64_t after = reference->ReadNs();
    if (after - before < widthNs) {
      widthNs = after - before;
      offsetNs = Difference(time * 100, before + (after - before) / 2);
    }
  }
  const CounterNow now = ReadCounter(library);
  const TrackingState state = Track(contents.samples, now.frequency, now.tick);
  const std::string updateTime = FormatSystemTime(state.updateTime);
  const char* const fastOrSlow = state.frequencyPpm < 0 ? "slow" : "fast";

  if (options.json) {
    const nlohmann::ordered_json document = {
        {"store", name},
        {"reference", reference->Name()},
        {"reference_time", updateTime},
        {"reference_time_100ns", std::to_string(state.updateTime)},
        {"offset_ns", offsetNs},
        {"reading_width_ns", widthNs},
        {"last_offset_ns", state.lastOffsetNs},
        {"rms_offset_ns", state.rmsOffsetNs},
        {"updates", state.updates},
        {"frequency_ppm", state.frequencyPpm},
        {"residual_frequency_ppm", state.residualFrequencyPpm},
        {"skew_ppm", state.skewPpm},
        {"update_interval_s", state.updateIntervalS},
        {"last_update_age_s", state.lastUpdateAgeS},
        {"stale", state.stale}};
    std::printf("%s\n", document.dump(2).c_str());
  } else if (options.csv) {
    std::printf(
        "store,reference_time,reference_time_100ns,offset_ns,reading_width_ns,"
        "last_offset_ns,rms_offset_ns,updates,frequency_ppm,residual_frequency_ppm,skew_ppm,"
        "update_interval_s,last_update_age_s,stale\n");
    std::printf("%s,%s,%llu,%lld,%llu,%.1f,%.1f,%zu,%.6f,%.6f,%.6f,%.6f,%.3f,%d\n", name.c_str(),
                updateTime.c_str(), static_cast<unsigned long long>(state.updateTime),
                static_cast<long long>(offsetNs), static_cast<unsigned long long>(widthNs),
                state.lastOffsetNs, state.rmsOffsetNs, state.updates, state.frequencyPpm,
                state.residualFrequencyPpm, state.skewPpm, state.updateIntervalS,
                state.lastUpdateAgeS, state.stale ? 1 : 0);
  } else {
    std::printf("Store           : %s\n", name.c_str());
    std::printf("Reference time  : %s (the latest update)\n", updateTime.c_str());
    std::printf("Named clock     : %lld ns %s of %s (reading %llu ns wide)\n",
                static_cast<long long>(offsetNs < 0 ? -offsetNs : offsetNs),
                offsetNs < 0 ? "slow" : "fast", reference->Name().c_str(),
                static_cast<unsigned long long>(widthNs));
    std::printf("Last offset     : %+.1f ns (removed by the latest update)\n", state.lastOffsetNs);
    std::printf("RMS offset      : %.1f ns (over %zu updates)\n", state.rmsOffsetNs, state.updates);
    std::printf("Frequency       : %.4f ppm %s\n", std::abs(state.frequencyPpm), fastOrSlow);
    std::printf("Residual freq   : %+.4f ppm\n", state.residualFrequencyPpm);
    std::printf("Skew            : %.4f ppm\n", state.skewPpm);
    std::printf("Update interval : %.3f s\n", state.updateIntervalS);
    std::printf("Last update     : %.3f s ago%s\n", state.lastUpdateAgeS,
                state.stale ? ", STALE: its publisher has stopped updating" : "");
  }
  return 0;
}
