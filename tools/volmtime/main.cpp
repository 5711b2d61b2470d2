// volmtime: reads, publishes, watches and inspects VolmTime's shared time from the command
// line.
#include "Commands.h"
#include "Library.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

std::atomic<bool> gStopRequested{false};

namespace {

struct Command {
  int (*run)(const Arguments&);
  const char* usage;
  const char* summary;
};

const std::map<std::string, Command>& Commands() {
  static const std::map<std::string, Command> commands = {
      {"now", {RunNow, "volmtime now", "the counter, the relative clock and the system clock"}},
      {"publish",
       {RunPublish,
        "volmtime publish NAME [--interval-ms 100] [--duration-s 0 (until Ctrl-C)] [--jump-ms 50] "
        "[--quiet]",
        "discipline the shared correction function NAME to the system clock"}},
      {"watch",
       {RunWatch,
        "volmtime watch NAME [--interval-ms 200] [--duration-s 0 (until Ctrl-C)] [--report FILE] "
        "[--quiet]",
        "a named clock's time, its offset from the system clock and its rate"}},
      {"inspect",
       {RunInspect, "volmtime inspect NAME [--last 10] [--svg FILE]", "the store NAME, read-only"}},
      {"demo",
       {RunDemo, "volmtime demo [--seconds 3]",
        "publisher, two watchers and a timer, with a verdict"}},
      {"bench",
       {RunBench, "volmtime bench [--json FILE] [--repetitions N]", "benchmarks against the alternatives (Linux)"}},
  };
  return commands;
}

void PrintUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: volmtime COMMAND [options]   (volmtime COMMAND --help for its options)\n\n");
  for (const auto& [name, command] : Commands())
    std::fprintf(out, "  %-8s %s\n", name.c_str(), command.summary);
}

extern "C" void RequestStop(int) { gStopRequested = true; }

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGINT, RequestStop);
  std::signal(SIGTERM, RequestStop);
  if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0) {
    PrintUsage(argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  const auto found = Commands().find(argv[1]);
  if (found == Commands().end()) {
    std::fprintf(stderr, "volmtime: unknown command \"%s\"\n", argv[1]);
    PrintUsage(stderr);
    return 2;
  }
  try {
    const Arguments arguments(argc, argv, 2, {"--help", "--quiet", "--builtin"});
    if (arguments.Has("--help")) {
      std::printf("usage: %s\n%s\n", found->second.usage, found->second.summary);
      return 0;
    }
    return found->second.run(arguments);
  } catch (const UsageError& mistake) {
    std::fprintf(stderr, "volmtime %s: %s\nusage: %s\n", argv[1], mistake.what(),
                 found->second.usage);
    return 2;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "volmtime %s: %s\n", argv[1], failure.what());
    return 1;
  }
}
