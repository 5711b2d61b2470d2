// SPDX-License-Identifier: MIT
// What `volmtime bench` prints beside its numbers: the conditions they were measured under,
// and a warning when those make them unreliable.
#ifndef TOOLS_VOLMTIME_BENCHREPORT_H
#define TOOLS_VOLMTIME_BENCHREPORT_H

#include <optional>
#include <string>

struct BenchConditions {
  std::string clockSource;            // the kernel's clock source; empty where not known
  std::optional<double> loadAverage;  // one minute; none where the system does not tell
  unsigned cpus = 1;
  std::string buildType;         // this build's CMake build type, with its sanitizers
  std::string benchLibraryType;  // Google Benchmark's own build ("release", "debug"), if used
};

// The machine's clock source, one-minute load average and CPU count, and this build's type.
BenchConditions MeasuredConditions();

// Prints the conditions and any warnings to standard output.
void PrintConditions(const BenchConditions& conditions);

#endif  // TOOLS_VOLMTIME_BENCHREPORT_H
