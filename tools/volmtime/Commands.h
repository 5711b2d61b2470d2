// SPDX-License-Identifier: MIT
// The subcommands of volmtime. Each returns the process's exit code: 0 when all went well,
// 1 when the library or the check failed (usage mistakes end with 2 before they run).
#ifndef TOOLS_VOLMTIME_COMMANDS_H
#define TOOLS_VOLMTIME_COMMANDS_H

#include "Cli.h"

#include <atomic>
#include <stdexcept>

// A failure to report with the command's name and exit code 1.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

int RunNow(const ToolOptions& options);
int RunPublish(const ToolOptions& options);
// Runs a publisher, measures the discipline it keeps and its holdover, and prints both
// against their targets.
int RunPublishReport(const ToolOptions& options);
int RunWatch(const ToolOptions& options);
int RunInspect(const ToolOptions& options);
int RunTracking(const ToolOptions& options);
int RunDemo(const ToolOptions& options);
// Runs the benchmarks and prints their results as Markdown tables.
int RunBench(const ToolOptions& options);

// Set by the signals that ask the process to end (StopSignals.h); long-running commands end
// cleanly when they see it.
extern std::atomic<bool> gStopRequested;

#endif  // TOOLS_VOLMTIME_COMMANDS_H
