// SPDX-License-Identifier: MIT
// volmtime: reads, publishes, watches and inspects VolmTime's shared time from the command
// line.
#include "Commands.h"
#include "StopSignals.h"

#include <cstdio>
#include <iostream>
#include <map>
#include <string>

int main(int argc, char** argv) {
  InstallStopSignals();
  ToolOptions options;
  if (const std::optional<int> exit = ParseCommandLine(argc, argv, options, std::cout, std::cerr))
    return *exit;
  static const std::map<std::string, int (*)(const ToolOptions&)> commands = {
      {"now", RunNow},         {"publish", RunPublish},   {"watch", RunWatch},
      {"inspect", RunInspect}, {"tracking", RunTracking}, {"demo", RunDemo},
      {"bench", RunBench}};
  try {
    return commands.at(options.command)(options);
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "volmtime %s: %s\n", options.command.c_str(), failure.what());
    return 1;
  }
}
