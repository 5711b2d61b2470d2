#include "BenchReport.h"
#include "BuiltinBench.h"
#include "Commands.h"

#include "tools/common/ChildProcess.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>
#include <map>
#include <string>

namespace {

// Each measurement next to the baseline it is compared with.
struct Row {
  const char* name;
  const char* what;
  const char* baseline;
};

constexpr Row kTimeRows[] = {
    {"RawCounterRead", "raw counter read", nullptr},
    {"SteadyClockNow", "std::chrono::steady_clock::now()", "RawCounterRead"},
    {"AbslNow", "absl::Now()", "RawCounterRead"},
    {"RelativeClockGetTime", "relative clock GetTime", "RawCounterRead"},
    {"SystemClockGetTime", "system clock GetTime", "RawCounterRead"},
    {"NamedClockOneSample", "named clock GetTime, one sample", "RawCounterRead"},
    {"NamedClockFullStore", "named clock GetTime, full store", "RawCounterRead"},
    {"EvaluateFullStoreLatestSegment", "TickToTime, full store, latest segment", "RawCounterRead"},
    {"EvaluateFullStoreThroughHistory", "TickToTime, full store, through the history",
     "RawCounterRead"},
    {"AddSampleAndPublish", "AddSample + Publish", "RawCounterRead"},
};

constexpr Row kLatenessRows[] = {
    {"SleepTime/1/iterations:1", "SleepTime 1 ms", "StdSleepFor/1/iterations:1"},
    {"StdSleepFor/1/iterations:1", "std::this_thread::sleep_for 1 ms", nullptr},
    {"ClockNanosleep/1/iterations:1", "clock_nanosleep 1 ms", "StdSleepFor/1/iterations:1"},
    {"SleepTime/5/iterations:1", "SleepTime 5 ms", "StdSleepFor/5/iterations:1"},
    {"StdSleepFor/5/iterations:1", "std::this_thread::sleep_for 5 ms", nullptr},
    {"ClockNanosleep/5/iterations:1", "clock_nanosleep 5 ms", "StdSleepFor/5/iterations:1"},
    {"SleepTime/20/iterations:1", "SleepTime 20 ms", "StdSleepFor/20/iterations:1"},
    {"StdSleepFor/20/iterations:1", "std::this_thread::sleep_for 20 ms", nullptr},
    {"ClockNanosleep/20/iterations:1", "clock_nanosleep 20 ms", "StdSleepFor/20/iterations:1"},
    {"PeriodicTimerJitter/1/iterations:1", "periodic timer 1 ms, jitter", nullptr},
    {"PeriodicTimerJitter/10/iterations:1", "periodic timer 10 ms, jitter", nullptr},
};

// Google Benchmark's aggregates of repeated runs, by run name and aggregate name.
class Aggregates {
 public:
  explicit Aggregates(const nlohmann::json& results) {
    for (const nlohmann::json& entry : results.at("benchmarks")) {
      if (entry.value("run_type", "") != "aggregate") continue;
      byName_[entry.at("run_name").get<std::string>() + "|" +
              entry.at("aggregate_name").get<std::string>()] = entry;
    }
  }
  // The field of one aggregate, 0 if the benchmark did not run (AbslNow without Abseil).
  [[nodiscard]] double Get(const std::string& run, const char* aggregate, const char* field) const {
    const auto found = byName_.find(run + "|" + aggregate);
    return found == byName_.end() ? 0.0 : found->second.value(field, 0.0);
  }

 private:
  std::map<std::string, nlohmann::json> byName_;
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
  if (options.builtin || !std::ifstream(SiblingProgram("volm_benchmarks")))
    return RunBuiltinBench(options.rounds, options.repetitions, options.benchJson);
  const std::string json = options.benchJson.empty() ? "volmtime-bench.json" : options.benchJson;
  std::printf("running volm_benchmarks, %d repetitions of each measurement (a few minutes)\n",
              options.repetitions);
  std::fflush(stdout);
  ChildProcess benchmarks(SiblingProgram("volm_benchmarks"),
                          {"--benchmark_out=" + json, "--benchmark_out_format=json",
                           "--benchmark_repetitions=" + std::to_string(options.repetitions),
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
  conditions.benchLibraryType = context.value("library_build_type", "");
  std::printf("\n");
  PrintConditions(conditions);

  std::printf(
      "\n| reading time | mean ns | median ns | spread (stddev) | median ratio to the raw "
      "counter read |\n|---|---:|---:|---:|---:|\n");
  for (const Row& row : kTimeRows) {
    const double median = aggregates.Get(row.name, "median", "real_time");
    std::printf("| %s | %.1f | %.1f | %.1f | %s |\n", row.what,
                aggregates.Get(row.name, "mean", "real_time"), median,
                aggregates.Get(row.name, "stddev", "real_time"),
                row.baseline
                    ? Ratio(median, aggregates.Get(row.baseline, "median", "real_time")).c_str()
                    : "1.00x");
  }
  std::printf(
      "\n| waking up | median late (us), mean | median | spread (stddev) | p99 late (us), median "
      "| median ratio to sleep_for |\n|---|---:|---:|---:|---:|---:|\n");
  for (const Row& row : kLatenessRows) {
    const double median = aggregates.Get(row.name, "median", "median_us");
    std::printf("| %s | %.1f | %.1f | %.1f | %.1f | %s |\n", row.what,
                aggregates.Get(row.name, "mean", "median_us"), median,
                aggregates.Get(row.name, "stddev", "median_us"),
                aggregates.Get(row.name, "median", "p99_us"),
                row.baseline
                    ? Ratio(median, aggregates.Get(row.baseline, "median", "median_us")).c_str()
                    : "");
  }
  std::printf("\nfull results: %s\n", json.c_str());
  return 0;
}
