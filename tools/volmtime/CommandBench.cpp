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

}  // namespace

int RunBench(const Arguments& arguments) {
  arguments.Allow({"--json", "--builtin", "--rounds"});
  const int rounds = static_cast<int>(arguments.Number("--rounds", 30, 3, 10'000));
  // Google Benchmark's program is built on Linux only; elsewhere the tool measures itself.
  if (arguments.Has("--builtin") || !std::ifstream(SiblingProgram("volm_benchmarks"))) {
    return RunBuiltinBench(rounds);
  }
  const std::string json = arguments.Text("--json", "volmtime-bench.json");
  ChildProcess benchmarks(SiblingProgram("volm_benchmarks"),
                          {"--benchmark_out=" + json, "--benchmark_out_format=json"});
  const std::optional<int> exit = benchmarks.Wait(30 * 60 * 1000);
  if (!exit || *exit != 0) {
    std::fprintf(stderr, "volmtime bench: the benchmarks did not finish\n");
    return 1;
  }
  boost::property_tree::ptree results;
  boost::property_tree::read_json(json, results);
  std::map<std::string, boost::property_tree::ptree> byName;
  for (const auto& [key, benchmark] : results.get_child("benchmarks"))
    byName[benchmark.get<std::string>("name")] = benchmark;
  const auto time = [&](const char* name) {
    return byName.count(name) ? byName[name].get<double>("real_time") : 0.0;
  };
  const auto counter = [&](const char* name, const char* field) {
    return byName.count(name) ? byName[name].get<double>(field, 0.0) : 0.0;
  };
  std::printf("| reading time | ns per call | ratio to the raw counter read |\n|---|---:|---:|\n");
  for (const Row& row : kTimeRows) {
    const double ns = time(row.name);
    std::printf("| %s | %.1f | %s |\n", row.what, ns,
                row.baseline ? (std::to_string(ns / time(row.baseline)).substr(0, 4) + "x").c_str()
                             : "1.00x");
  }
  std::printf(
      "\n| waking up | median late (us) | p99 late (us) | median ratio to sleep_for "
      "|\n|---|---:|---:|---:|\n");
  for (const Row& row : kLatenessRows) {
    const double median = counter(row.name, "median_us");
    const double ratio = row.baseline ? median / counter(row.baseline, "median_us") : 1.0;
    std::printf("| %s | %.1f | %.1f | %s |\n", row.what, median, counter(row.name, "p99_us"),
                row.baseline ? (std::to_string(ratio).substr(0, 4) + "x").c_str() : "");
  }
  std::printf("\nfull results: %s\n", json.c_str());
  return 0;
}
