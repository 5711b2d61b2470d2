// SPDX-License-Identifier: MIT
#include "BenchReport.h"
#include "BuiltinBench.h"
#include "Commands.h"

#include "tools/common/ChildProcess.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>

namespace {

// Each measurement next to the baseline it is compared with, and the most the ratio of their
// medians may be (0: no target).
struct Row {
  const char* name;
  const char* what;
  const char* baseline;
  double target;
};

constexpr Row kTimeRows[] = {
    {"RawCounterRead", "raw counter read", nullptr, 0},
    {"SteadyClockNow", "std::chrono::steady_clock::now()", "RawCounterRead", 0},
    {"AbslNow", "absl::Now()", "RawCounterRead", 0},
    {"RelativeClockGetTime", "relative clock GetTime", "RawCounterRead", 1.1},
    {"SystemClockGetTime", "system clock GetTime", "RawCounterRead", 0},
    {"NamedClockOneSample", "named clock GetTime, one sample", "RawCounterRead", 0},
    {"NamedClockFullStore", "named clock GetTime, full store", "RawCounterRead", 1.15},
    {"NamedClockBeforeLatest", "named clock GetTime, full store, before the latest sample",
     "RawCounterRead", 1.15},
    {"EvaluateFullStoreLatestSegment", "TickToTime, full store, latest segment", "RawCounterRead",
     0},
    {"EvaluateFullStoreThroughHistory", "TickToTime deep in a full store, 10 us apart",
     "RawCounterRead", 3.0},
    {"EvaluateFullStoreUnevenHistory", "TickToTime deep in a full store, random gaps",
     "RawCounterRead", 0},
    {"AddSampleAndPublish", "AddSample + Publish", "RawCounterRead", 0},
};

// A way of waiting measured side by side with others in one benchmark run: its counters'
// prefix, and the prefix of the one it is compared with.
struct WakeRow {
  const char* run;
  const char* prefix;
  const char* what;
  const char* baseline;
  double target;
};

// Google Benchmark's name of a sleep or timer run: the duration, the busy processes.
#define VOLM_WAKE(kind, ms, busy) #kind "/ms:" #ms "/busy:" #busy "/iterations:1"

// The target of SleepTime: at most that many us late at the median (-1: no later than
// sleep_for), and at the 99th percentile no later than sleep_for; 0: none.
#define VOLM_SLEEP_ROWS(ms, busy, load, target)                                                 \
  {VOLM_WAKE(Sleeps, ms, busy), "SleepTime", "SleepTime " #ms " ms" load, "sleep_for", target}, \
      {VOLM_WAKE(Sleeps, ms, busy), "sleep_for", "std::this_thread::sleep_for " #ms " ms" load, \
       nullptr, 0},                                                                             \
  {                                                                                             \
    VOLM_WAKE(Sleeps, ms, busy), "clock_nanosleep", "clock_nanosleep " #ms " ms" load,          \
        "sleep_for", 0                                                                          \
  }

constexpr WakeRow kLatenessRows[] = {
    VOLM_SLEEP_ROWS(1, 0, "", 0),
    VOLM_SLEEP_ROWS(5, 0, "", 10),
    VOLM_SLEEP_ROWS(20, 0, "", 0),
    VOLM_SLEEP_ROWS(5, 2, ", 2 busy processes", -1),
};

// Google Benchmark's name of a periodic timer run: the period, the busy processes, whether
// the waiting thread had a real-time priority.
#define VOLM_PERIODIC_RUN(ms, busy, realtime) \
  "PeriodicTimers/ms:" #ms "/busy:" #busy "/realtime:" #realtime "/iterations:1"

// The target is the period in ms.
#define VOLM_PERIODIC_ROWS(ms, busy, realtime, load)                                            \
  {VOLM_PERIODIC_RUN(ms, busy, realtime), "timer", "periodic timer " #ms " ms" load, "timerfd", \
   static_cast<double>(ms)},                                                                    \
  {                                                                                             \
    VOLM_PERIODIC_RUN(ms, busy, realtime), "timerfd", "timerfd " #ms " ms" load, nullptr, 0     \
  }

constexpr WakeRow kPeriodicRows[] = {
    VOLM_PERIODIC_ROWS(1, 0, 0, ""),
    VOLM_PERIODIC_ROWS(10, 0, 0, ""),
    VOLM_PERIODIC_ROWS(1, 2, 0, ", 2 busy processes"),
    VOLM_PERIODIC_ROWS(1, 5, 0, ", 5 busy processes"),
    VOLM_PERIODIC_ROWS(1, 2, 1, ", 2 busy processes, real-time thread"),
    VOLM_PERIODIC_ROWS(1, 5, 1, ", 5 busy processes, real-time thread"),
};

// Google Benchmark's aggregates of repeated runs, by run name and aggregate name.
class Aggregates {
 public:
  explicit Aggregates(const nlohmann::json& results) {
    for (const nlohmann::json& entry : results.at("benchmarks")) {
      const std::string run = entry.value("run_name", "");
      if (entry.value("error_occurred", false)) {
        skipped_[run] = entry.value("error_message", "");
      } else if (entry.value("run_type", "") == "aggregate") {
        byName_[run + "|" + entry.at("aggregate_name").get<std::string>()] = entry;
      } else if (entry.value("repetitions", 0) <= 1) {
        // A single repetition has no aggregates: it is its own mean and median.
        byName_[run + "|mean"] = entry;
        byName_[run + "|median"] = entry;
      }
    }
  }
  // The field of one aggregate, 0 if the benchmark did not run (AbslNow without Abseil).
  [[nodiscard]] double Get(const std::string& run, const char* aggregate,
                           const std::string& field) const {
    const auto found = byName_.find(run + "|" + aggregate);
    return found == byName_.end() ? 0.0 : found->second.value(field, 0.0);
  }
  // Why a benchmark has no result: what it said when it skipped itself.
  [[nodiscard]] std::string Skipped(const std::string& run) const {
    const auto found = skipped_.find(run);
    return found == skipped_.end() ? "no result" : found->second;
  }

 private:
  std::map<std::string, nlohmann::json> byName_;
  std::map<std::string, std::string> skipped_;
};

std::string Ratio(double value, double baseline) {
  if (baseline <= 0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.2fx", value / baseline);
  return text;
}

}  // namespace

int RunBench(const ToolOptions& options) {
  // Google Benchmark's program is built on Linux only; elsewhere the tool measures itself.
  if (options.builtin) {
    return RunBuiltinBench(options.rounds, options.repetitions, options.benchJson,
                           "--builtin: the tool's own loops instead of Google Benchmark");
  }
  if (!std::ifstream(SiblingProgram("volm_benchmarks"))) {
    return RunBuiltinBench(options.rounds, options.repetitions, options.benchJson,
                           "the tool's own loops: Google Benchmark's volm_benchmarks is not "
                           "beside the tool");
  }
  const std::string json = options.benchJson.empty() ? "volmtime-bench.json" : options.benchJson;
  std::printf("running volm_benchmarks, %d repetitions of each measurement (a few minutes)\n",
              options.repetitions);
  std::fflush(stdout);
  // Repetitions of different measurements in random order: a ratio then compares readings
  // taken over the same minutes, not a row from before the machine got busier with one from
  // after.
  ChildProcess benchmarks(SiblingProgram("volm_benchmarks"),
                          {"--benchmark_out=" + json, "--benchmark_out_format=json",
                           "--benchmark_repetitions=" + std::to_string(options.repetitions),
                           "--benchmark_enable_random_interleaving=true",
                           "--benchmark_report_aggregates_only=true"});
  const std::optional<int> exit = benchmarks.Wait(60 * 60 * 1000);
  if (!exit || *exit != 0) throw CommandError("the benchmarks did not finish");
  std::ifstream file(json);
  const nlohmann::json results = nlohmann::json::parse(file);
  const Aggregates aggregates(results);

  BenchConditions conditions = MeasuredConditions();
  const nlohmann::json& context = results.at("context");
  if (context.contains("load_avg") && !context["load_avg"].empty())
    conditions.loadAverage = context["load_avg"][0].get<double>();
  conditions.cpus = context.value("num_cpus", conditions.cpus);
  conditions.clockSource = context.value("clock_source", conditions.clockSource);
  conditions.benchLibraryType = context.value("library_build_type", "");
  std::printf("\n");
  PrintConditions(conditions);

  std::printf(
      "\n| reading time | mean ns | median ns | spread (stddev) | median ratio to the raw "
      "counter read | target |\n|---|---:|---:|---:|---:|---|\n");
  for (const Row& row : kTimeRows) {
    const double median = aggregates.Get(row.name, "median", "real_time");
    const double baseline = row.baseline ? aggregates.Get(row.baseline, "median", "real_time") : 0;
    std::string target;
    if (row.target > 0 && baseline > 0) {
      char text[48];
      std::snprintf(text, sizeof text, "at most %.2fx: %s", row.target,
                    median <= row.target * baseline ? "held" : "MISSED");
      target = text;
    }
    std::printf("| %s | %.1f | %.1f | %.1f | %s | %s |\n", row.what,
                aggregates.Get(row.name, "mean", "real_time"), median,
                aggregates.Get(row.name, "stddev", "real_time"),
                row.baseline ? Ratio(median, baseline).c_str() : "1.00x", target.c_str());
  }
  std::printf(
      "\n| waking up | median late (us), mean | median | spread (stddev) | p99 late (us), median "
      "| median, p99 ratio to sleep_for | target |\n|---|---:|---:|---:|---:|---:|---|\n");
  for (const WakeRow& row : kLatenessRows) {
    const auto get = [&](const char* prefix, const char* aggregate, const char* field) {
      return aggregates.Get(row.run, aggregate, std::string(prefix) + field);
    };
    const double median = get(row.prefix, "median", "_median_us");
    const double p99 = get(row.prefix, "median", "_p99_us");
    std::string ratio;
    std::string target;
    if (row.baseline) {
      const double baselineMedian = get(row.baseline, "median", "_median_us");
      const double baselineP99 = get(row.baseline, "median", "_p99_us");
      ratio = Ratio(median, baselineMedian) + ", " + Ratio(p99, baselineP99);
      if (row.target != 0) {
        const double medianLimit = row.target > 0 ? row.target : baselineMedian;
        char text[80];
        std::snprintf(text, sizeof text, "median at most %.1f us, p99 at most %.1f us: %s",
                      medianLimit, baselineP99,
                      median <= medianLimit && p99 <= baselineP99 ? "held" : "MISSED");
        target = text;
      }
    }
    std::printf("| %s | %.1f | %.1f | %.1f | %.1f | %s | %s |\n", row.what,
                get(row.prefix, "mean", "_median_us"), median,
                get(row.prefix, "stddev", "_median_us"), p99, ratio.c_str(), target.c_str());
  }
  std::printf(
      "\n| periodic timer | mean interval (us) | median deviation (us) | p99 deviation (us) | "
      "target: mean within 5 us of the period, p99 at most twice timerfd's + 50 us "
      "|\n|---|---:|---:|---:|---|\n");
  for (const WakeRow& row : kPeriodicRows) {
    const auto get = [&](const char* prefix, const char* field) {
      return aggregates.Get(row.run, "median", std::string(prefix) + field);
    };
    const double mean = get(row.prefix, "_mean_interval_us");
    const double p99 = get(row.prefix, "_p99_us");
    if (mean <= 0) {
      std::printf("| %s | | | | not measured: %s |\n", row.what,
                  aggregates.Skipped(row.run).c_str());
      continue;
    }
    std::string verdict;
    if (row.baseline) {
      const bool held = std::abs(mean - row.target * 1000.0) <= 5.0 &&
                        p99 <= 2 * get(row.baseline, "_p99_us") + 50.0;
      verdict = held ? "held" : "MISSED";
    }
    std::printf("| %s | %.1f | %.1f | %.1f | %s |\n", row.what, mean, get(row.prefix, "_median_us"),
                p99, verdict.c_str());
  }
  std::printf("\nmedians over the repetitions unless a column says otherwise\n");
  std::printf("\nfull results: %s\n", json.c_str());
  return 0;
}
