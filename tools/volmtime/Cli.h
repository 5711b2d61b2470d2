// SPDX-License-Identifier: MIT
// The command line of volmtime: every subcommand with its options, parsed by CLI11.
#ifndef TOOLS_VOLMTIME_CLI_H
#define TOOLS_VOLMTIME_CLI_H

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

// What the command line asked for. Fields that a subcommand does not take keep their
// defaults.
struct ToolOptions {
  std::string command;  // now, publish, watch, inspect, tracking, demo or bench
  std::string name;     // the shared function's name

  // publish
  double intervalMs = 100;
  double durationS = 0;  // 0: until Ctrl-C
  double jumpMs = 50;
  double maxSlewPpm = 500;
  std::string reference = "system";  // also tracking's
  bool takeOver = false;
  bool quiet = false;
  bool reportDiscipline = false;  // measure the discipline instead: durationS (30), then holdoverS
  double holdoverS = 10;

  // watch (intervalMs 200 there), inspect, tracking
  std::string report;
  bool json = false;
  bool csv = false;
  std::size_t last = 10;      // inspect: rows of the sample table
  std::string svg;            // inspect: plot file
  double windowS = 0;         // inspect: plot only the last seconds (0: every sample)
  std::size_t samples = 100;  // tracking: the window of updates for the RMS offset

  // demo
  double seconds = 3;

  // bench
  std::string benchJson;
  bool builtin = false;
  int rounds = 30;
  int repetitions = 5;
};

inline constexpr int kUsageExitCode = 2;

// Parses the arguments into `options`. Returns nothing when the command should run, or the
// exit code to end with at once: 0 after --help or --version (printed on `out`),
// kUsageExitCode after a mistake (explained on `err`).
std::optional<int> ParseCommandLine(int argc, const char* const* argv, ToolOptions& options,
                                    std::ostream& out, std::ostream& err);

#endif  // TOOLS_VOLMTIME_CLI_H
