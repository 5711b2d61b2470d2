// SPDX-License-Identifier: MIT
#include "BenchReport.h"

#include "tools/common/Process.h"

#include <cstdio>
#include <fstream>
#include <thread>

BenchConditions MeasuredConditions() {
  BenchConditions conditions;
  conditions.clockSource = ClockSource();
  // Linux tells the load average in /proc; Windows has none.
  std::ifstream loadFile("/proc/loadavg");
  double load = 0;
  if (loadFile >> load) conditions.loadAverage = load;
  conditions.cpus = std::max(1u, std::thread::hardware_concurrency());
  conditions.buildType = VOLM_BUILD_TYPE;
  return conditions;
}

void PrintConditions(const BenchConditions& conditions) {
  char load[32] = "unknown";
  if (conditions.loadAverage) std::snprintf(load, sizeof load, "%.2f", *conditions.loadAverage);
  std::printf("conditions: clock source %s; load average %s on %u CPUs; volmtime built %s%s%s\n",
              conditions.clockSource.empty() ? "unknown" : conditions.clockSource.c_str(), load,
              conditions.cpus, conditions.buildType.c_str(),
              conditions.benchLibraryType.empty() ? "" : "; Google Benchmark library ",
              conditions.benchLibraryType.c_str());
  if (conditions.loadAverage && *conditions.loadAverage >= 0.5 * conditions.cpus) {
    std::printf(
        "WARNING: the machine is busy (load average %.2f on %u CPUs): the numbers are "
        "noisy and slower than on a quiet machine\n",
        *conditions.loadAverage, conditions.cpus);
  }
  const bool debug = conditions.buildType.find("Debug") != std::string::npos ||
                     conditions.buildType.find("sanitize") != std::string::npos;
  if (debug) {
    std::printf("WARNING: a debug or sanitizer build of volmtime and the library: the numbers "
                "do not show a release build's speed\n");
  }
  if (conditions.benchLibraryType == "debug") {
    std::printf("note: the Google Benchmark library reports a debug build (Debian's package "
                "does); only its own loop overhead is affected, the code measured is this "
                "build's\n");
  }
}
