// SPDX-License-Identifier: MIT
// Benchmarks the tool runs itself where Google Benchmark is not at hand.
#ifndef TOOLS_VOLMTIME_BUILTINBENCH_H
#define TOOLS_VOLMTIME_BUILTINBENCH_H

#include <string>

// Prints the tables; `rounds` sleeps and timer periods per lateness measurement, each
// reading measured `repetitions` times. Writes the results as JSON to `jsonPath` unless it
// is empty. `why` says, in the heading, why the tool measures rather than Google Benchmark.
int RunBuiltinBench(int rounds, int repetitions, const std::string& jsonPath,
                    const std::string& why);

#endif  // TOOLS_VOLMTIME_BUILTINBENCH_H
