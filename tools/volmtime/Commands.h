// The subcommands of volmtime. Each returns the process's exit code: 0 when all went well,
// 1 when the library or the check failed; usage mistakes throw UsageError (exit code 2).
#ifndef TOOLS_VOLMTIME_COMMANDS_H
#define TOOLS_VOLMTIME_COMMANDS_H

#include "Arguments.h"

#include <atomic>

int RunNow(const Arguments& arguments);
int RunPublish(const Arguments& arguments);
int RunWatch(const Arguments& arguments);
int RunInspect(const Arguments& arguments);
int RunDemo(const Arguments& arguments);
// Runs the benchmark program next to this one and prints its results as Markdown tables.
int RunBench(const Arguments& arguments);

// Set by Ctrl-C or SIGTERM; long-running commands end cleanly when they see it.
extern std::atomic<bool> gStopRequested;

// 100-ns units per tick for the counter's frequency.
double NominalRate(std::uint64_t frequency);

#endif  // TOOLS_VOLMTIME_COMMANDS_H
