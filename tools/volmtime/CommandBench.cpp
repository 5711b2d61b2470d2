#include "Commands.h"

#include "BuiltinBench.h"
#include "tools/common/ChildProcess.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

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
    {"EvaluateFullStoreThroughHistory", "TickToTime deep in a full store, 10 us apart",
     "RawCounterRead"},
    {"EvaluateFullStoreUnevenHistory", "TickToTime deep in a full store, random gaps",
     "RawCounterRead"},
    {"AddSampleAndPublish", "AddSample + Publish", "RawCounterRead"},
};

#define VOLM_SLEEP_ROWS(ms, busy, load)                                                   \
  {"SleepTime/ms:" #ms "/busy:" #busy "/iterations:1", "SleepTime " #ms " ms" load,       \
   "StdSleepFor/ms:" #ms "/busy:" #busy "/iterations:1"},                                 \
      {"StdSleepFor/ms:" #ms "/busy:" #busy "/iterations:1",                              \
       "std::this_thread::sleep_for " #ms " ms" load, nullptr},                           \
      {"ClockNanosleep/ms:" #ms "/busy:" #busy "/iterations:1", "clock_nanosleep " #ms " ms" load, \
       "StdSleepFor/ms:" #ms "/busy:" #busy "/iterations:1"}

constexpr Row kLatenessRows[] = {
    VOLM_SLEEP_ROWS(1, 0, ""),
    VOLM_SLEEP_ROWS(5, 0, ""),
    VOLM_SLEEP_ROWS(20, 0, ""),
    VOLM_SLEEP_ROWS(5, 2, ", 2 busy processes"),
};

#define VOLM_PERIODIC_ROWS(ms, busy, load)                                                   \
  {"PeriodicTimerJitter/ms:" #ms "/busy:" #busy "/iterations:1", "periodic timer " #ms " ms" load, \
   "TimerfdJitter/ms:" #ms "/busy:" #busy "/iterations:1"},                                  \
      {"TimerfdJitter/ms:" #ms "/busy:" #busy "/iterations:1", "timerfd " #ms " ms" load, nullptr}

constexpr Row kPeriodicRows[] = {
    VOLM_PERIODIC_ROWS(1, 0, ""),
    VOLM_PERIODIC_ROWS(10, 0, ""),
    VOLM_PERIODIC_ROWS(1, 2, ", 2 busy processes"),
};

// One statistic of one row over the repetitions: mean, median or stddev of `field`.
class Results {
 public:
  explicit Results(const std::string& json) {
    boost::property_tree::ptree results;
    boost::property_tree::read_json(json, results);
    for (const auto& [key, benchmark] : results.get_child("benchmarks"))
      byName_[benchmark.get<std::string>("name")] = benchmark;
  }
  double Get(const std::string& name, const char* statistic, const char* field) const {
    const auto found = byName_.find(name + "_" + statistic);
    return found == byName_.end() ? 0.0 : found->second.get<double>(field, 0.0);
  }

 private:
  std::map<std::string, boost::property_tree::ptree> byName_;
};

std::string Ratio(double value, double baseline) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2fx", baseline > 0 ? value / baseline : 0.0);
  return text;
}

}  // namespace

int RunBench(const Arguments& arguments) {
  arguments.Allow({"--json", "--builtin", "--rounds", "--repetitions"});
  const int rounds = static_cast<int>(arguments.Number("--rounds", 30, 3, 10'000));
  const int repetitions = static_cast<int>(arguments.Number("--repetitions", 5, 2, 100));
  // Google Benchmark's program is built on Linux only; elsewhere the tool measures itself.
  if (arguments.Has("--builtin") || !std::ifstream(SiblingProgram("volm_benchmarks"))) {
    return RunBuiltinBench(rounds);
  }
  const std::string json = arguments.Text("--json", "volmtime-bench.json");
  ChildProcess benchmarks(SiblingProgram("volm_benchmarks"),
                          {"--benchmark_out=" + json, "--benchmark_out_format=json",
                           "--benchmark_repetitions=" + std::to_string(repetitions),
                           "--benchmark_report_aggregates_only=true"});
  const std::optional<int> exit = benchmarks.Wait(60 * 60 * 1000);
  if (!exit || *exit != 0) {
    std::fprintf(stderr, "volmtime bench: the benchmarks did not finish\n");
    return 1;
  }
  const Results results(json);
  std::printf("%d repetitions; ratios are of the medians\n\n", repetitions);
  std::printf(
      "| reading time | mean ns | median ns | stddev ns | ratio to the raw counter read "
      "|\n|---|---:|---:|---:|---:|\n");
  for (const Row& row : kTimeRows) {
    const double median = results.Get(row.name, "median", "real_time");
    std::printf("| %s | %.1f | %.1f | %.2f | %s |\n", row.what,
                results.Get(row.name, "mean", "real_time"), median,
                results.Get(row.name, "stddev", "real_time"),
                row.baseline ? Ratio(median, results.Get(row.baseline, "median", "real_time")).c_str()
                             : "1.00x");
  }
  std::printf(
      "\n| waking up | median late (us) | p99 late (us) | p99 stddev (us) | median, p99 ratio to "
      "sleep_for |\n|---|---:|---:|---:|---:|\n");
  for (const Row& row : kLatenessRows) {
    const double median = results.Get(row.name, "median", "median_us");
    const double p99 = results.Get(row.name, "median", "p99_us");
    std::string ratio;
    if (row.baseline) {
      ratio = Ratio(median, results.Get(row.baseline, "median", "median_us")) + ", " +
              Ratio(p99, results.Get(row.baseline, "median", "p99_us"));
    }
    std::printf("| %s | %.1f | %.1f | %.1f | %s |\n", row.what, median, p99,
                results.Get(row.name, "stddev", "p99_us"), ratio.c_str());
  }
  std::printf(
      "\n| periodic timer | mean interval (us) | median deviation (us) | p99 deviation (us) | "
      "p99 ratio to timerfd |\n|---|---:|---:|---:|---:|\n");
  for (const Row& row : kPeriodicRows) {
    const double p99 = results.Get(row.name, "median", "p99_us");
    std::printf("| %s | %.1f | %.1f | %.1f | %s |\n", row.what,
                results.Get(row.name, "mean", "mean_interval_us"),
                results.Get(row.name, "median", "median_us"), p99,
                row.baseline ? Ratio(p99, results.Get(row.baseline, "median", "p99_us")).c_str()
                             : "");
  }
  std::printf("\nmedians and means over the repetitions; full results: %s\n", json.c_str());
  return 0;
}
