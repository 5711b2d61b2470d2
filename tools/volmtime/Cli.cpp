// SPDX-License-Identifier: MIT
#include "Cli.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

// Help lines that name the value an option takes and its default plainly:
//   --interval-ms MS            time between updates (default: 100)
// The value's name is the option's own type name where one is given, else its unit from the
// option's name (-ms: MS, -s or seconds: SECONDS), else N for a number and TEXT.
class PlainFormatter : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_type_size() == 0 || option->get_positional()) return "";
    return " " + ValueName(option);
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    std::string description = option->get_description();
    if (!option->get_default_str().empty())
      description += " (default: " + option->get_default_str() + ")";
    return description;
  }

 private:
  static std::string ValueName(const CLI::Option* option) {
    std::string type = option->get_type_name();
    type = type.substr(0, type.find(':'));  // without a validator's description
    const std::string name = option->get_name(false, true);
    if (type != "FLOAT" && type != "INT" && type != "UINT" && type != "TEXT") return type;
    const auto endsWith = [&name](const std::string& end) {
      return name.size() >= end.size() &&
             name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    if (endsWith("-ms")) return "MS";
    if (endsWith("-s") || endsWith("seconds")) return "SECONDS";
    return type == "TEXT" ? "TEXT" : "N";
  }
};

// Arguments that CLI11 left over: options it does not know, and words that are not a
// subcommand. The message names the first; nothing when there was none.
bool ExplainLeftovers(const CLI::App& app, const std::string& context, bool subcommandChosen,
                      std::ostream& err) {
  for (const std::string& left : app.remaining()) {
    if (left.rfind('-', 0) == 0 && left.size() > 1) {
      err << context << ": unknown option " << left.substr(0, left.find('=')) << "\n";
    } else if (!subcommandChosen) {
      err << context << ": unknown subcommand '" << left << "'\n";
    } else {
      err << context << ": unexpected argument '" << left << "'\n";
    }
    err << "Run " << context << " --help for more information.\n";
    return true;
  }
  return false;
}

std::string Plain(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

// A number from `minimum` to `maximum`, written as such in the message when it is not one.
CLI::Validator Between(double minimum, double maximum) {
  const std::string range = Plain(minimum) + " to " + Plain(maximum);
  return CLI::Validator(
      [=](std::string& text) -> std::string {
        std::size_t used = 0;
        double value = NAN;
        try {
          value = std::stod(text, &used);
        } catch (const std::exception&) {
          used = 0;
        }
        if (used != text.size() || !(value >= minimum && value <= maximum))
          return "must be a number from " + range + ", not \"" + text + "\"";
        return "";
      },
      "");
}

CLI::App* AddNameCommand(CLI::App& app, const char* command, const char* summary,
                         ToolOptions& options) {
  CLI::App* sub = app.add_subcommand(command, summary);
  sub->add_option("NAME", options.name, "the shared correction function's name")->required();
  return sub;
}

void AddOutputFormats(CLI::App* sub, ToolOptions& options) {
  CLI::Option* json = sub->add_flag("--json", options.json, "machine-readable output as JSON");
  sub->add_flag("--csv", options.csv, "machine-readable output as CSV")->excludes(json);
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, const char* const* argv, ToolOptions& options,
                                    std::ostream& out, std::ostream& err) {
  CLI::App app{"volmtime: reads, publishes, watches and inspects VolmTime's shared time",
               "volmtime"};
  app.set_version_flag("--version", "volmtime " VOLM_VERSION);
  app.formatter(std::make_shared<PlainFormatter>());
  app.require_subcommand(1);
  app.fallthrough(false);

  app.add_subcommand("now", "the counter, the relative clock and the system clock");

  CLI::App* publish =
      AddNameCommand(app, "publish",
                     "discipline the shared correction function NAME to a reference clock", options);
  publish->add_option("--interval-ms", options.intervalMs, "time between updates")
      ->check(Between(1.0, 3'600'000.0))
      ->capture_default_str();
  publish->add_option("--duration-s", options.durationS, "stop after this long (0: at Ctrl-C)")
      ->check(Between(0.0, 1e9))
      ->capture_default_str();
  publish
      ->add_option("--jump-ms", options.jumpMs,
                   "an offset beyond this is a jump, not drift: a new segment starts")
      ->check(Between(0.1, 1e7))
      ->capture_default_str();
  publish
      ->add_option("--max-slew-ppm", options.maxSlewPpm,
                   "the most the rate may run off the frequency estimate to remove an offset")
      ->check(Between(1.0, 100'000.0))
      ->capture_default_str();
  publish
      ->add_option("--reference", options.reference,
                   "the time to follow: system, tai, or a PTP hardware clock such as /dev/ptp0")
      ->capture_default_str();
  publish->add_flag("--report", options.reportDiscipline,
                    "measure the discipline: --duration-s (30) against the reference, then kill "
                    "the publisher and measure --holdover-s of holdover");
  publish->add_option("--holdover-s", options.holdoverS, "with --report: the holdover measured")
      ->check(Between(1.0, 3600.0))
      ->capture_default_str();
  publish->add_flag("--take-over", options.takeOver,
                    "stop the writer that holds NAME and publish in its place");
  publish->add_flag("--quiet", options.quiet, "no status lines");

  CLI::App* watch =
      AddNameCommand(app, "watch", "a named clock against the system clock, live", options);
  watch->add_option("--interval-ms", options.intervalMs, "time between lines (default: 200)")
      ->check(Between(1.0, 3'600'000.0));
  watch->add_option("--duration-s", options.durationS, "stop after this long (0: at Ctrl-C)")
      ->check(Between(0.0, 1e9))
      ->capture_default_str();
  watch
      ->add_option("--report", options.report,
                   "also append \"system-time offset\" lines (100-ns units) to FILE")
      ->type_name("FILE");
  watch->add_flag("--quiet", options.quiet, "no lines on the terminal");
  AddOutputFormats(watch, options);

  CLI::App* inspect = AddNameCommand(app, "inspect", "the store NAME, read-only", options);
  inspect->add_option("--last", options.last, "rows of the sample table")
      ->check(Between(1, 10'000'000))
      ->capture_default_str();
  inspect->add_option("--svg", options.svg, "plot offset and rate to FILE")->type_name("FILE");
  inspect
      ->add_option("--window-s", options.windowS,
                   "plot only the samples of the last seconds (0: all)")
      ->check(Between(0.0, 1e9))
      ->capture_default_str();
  AddOutputFormats(inspect, options);

  CLI::App* tracking = AddNameCommand(
      app, "tracking", "the store's discipline as chronyc tracking shows a clock's", options);
  tracking
      ->add_option("--reference", options.reference,
                   "the time the named clock is compared with: system, tai or /dev/ptpN")
      ->capture_default_str();
  tracking->add_option("--samples", options.samples, "updates in the RMS offset")
      ->check(Between(2, 500'000))
      ->capture_default_str();
  AddOutputFormats(tracking, options);

  CLI::App* demo =
      app.add_subcommand("demo", "publisher, two watchers and a timer, with a verdict");
  demo->add_option("--seconds", options.seconds, "how long the watchers watch")
      ->check(Between(1.0, 600.0))
      ->capture_default_str();

  CLI::App* bench = app.add_subcommand("bench", "benchmarks against the alternatives");
  bench->add_option("--json", options.benchJson, "write the full results to FILE")
      ->type_name("FILE");
  bench->add_flag("--builtin", options.builtin,
                  "measure with the tool's own loops (std::chrono) instead of Google Benchmark");
  bench->add_option("--rounds", options.rounds, "wake-ups per lateness measurement")
      ->check(Between(3, 10'000))
      ->capture_default_str();
  bench->add_option("--repetitions", options.repetitions, "runs of every measurement")
      ->check(Between(1, 100))
      ->capture_default_str();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      const std::vector<CLI::App*> chosen = app.get_subcommands();
      if (ExplainLeftovers(app, "volmtime", !chosen.empty(), err) ||
          (!chosen.empty() &&
           ExplainLeftovers(*chosen.front(), "volmtime " + chosen.front()->get_name(), true, err)))
        return kUsageExitCode;
    }
    const int code = app.exit(error, out, err);
    return code == 0 ? 0 : kUsageExitCode;
  }
  for (CLI::App* sub : app.get_subcommands()) options.command = sub->get_name();
  if (options.command == "watch" && watch->count("--interval-ms") == 0) options.intervalMs = 200;
  return std::nullopt;
}
