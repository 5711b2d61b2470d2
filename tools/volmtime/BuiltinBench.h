// Benchmarks the tool runs itself where Google Benchmark is not at hand.
#ifndef TOOLS_VOLMTIME_BUILTINBENCH_H
#define TOOLS_VOLMTIME_BUILTINBENCH_H

// Prints the tables; `rounds` sleeps and timer periods per measurement.
int RunBuiltinBench(int rounds);

#endif  // TOOLS_VOLMTIME_BUILTINBENCH_H
