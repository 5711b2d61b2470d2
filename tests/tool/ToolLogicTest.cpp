// SPDX-License-Identifier: MIT
// The volmtime tool's own logic: its command line, the publisher's schedule, exact offsets on
// times near 1.3e17, the measures of the discipline report, the plot as an XML document (its
// axis titles and the numbers it carries are checked end to end by publish-and-plot.sh), and
// the names of its files. The servo and what `tracking` reads back are tested in simulation
// (ServoSimulationTest).
#include "Cli.h"
#include "DisciplineReport.h"
#include "StoreAnalysis.h"
#include "Svg.h"
#include "TimeFormat.h"
#include "ToolFiles.h"
#include "UpdateSchedule.h"

#include <gtest/gtest.h>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A system time of late 2026 in 100-ns units since 1601: a double steps by 16 units here.
constexpr std::uint64_t kNow = 134'090'000'000'000'000;

struct Parsed {
  std::optional<int> exit;
  ToolOptions options;
  std::ostringstream out;
  std::ostringstream err;
};

Parsed Parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "volmtime");
  Parsed parsed;
  parsed.exit = ParseCommandLine(static_cast<int>(arguments.size()), arguments.data(),
                                 parsed.options, parsed.out, parsed.err);
  return parsed;
}

TEST(CommandLine, TakesOptionsEitherWayWithPerCommandDefaultsAndAnswersVersion) {
  const Parsed publish = Parse({"publish", "n", "--interval-ms=20", "--jump-ms", "5"});
  ASSERT_FALSE(publish.exit) << publish.err.str();
  EXPECT_EQ(publish.options.command, "publish");
  EXPECT_EQ(publish.options.name, "n");
  EXPECT_EQ(publish.options.intervalMs, 20);
  EXPECT_EQ(publish.options.jumpMs, 5);
  const Parsed servo =
      Parse({"publish", "n", "--max-slew-ppm", "100", "--reference=tai", "--report"});
  ASSERT_FALSE(servo.exit) << servo.err.str();
  EXPECT_EQ(servo.options.maxSlewPpm, 100);
  EXPECT_EQ(servo.options.reference, "tai");
  EXPECT_TRUE(servo.options.reportDiscipline);
  EXPECT_EQ(Parse({"publish", "n"}).options.maxSlewPpm, 500);
  const Parsed watch = Parse({"watch", "n", "--json"});
  ASSERT_FALSE(watch.exit) << watch.err.str();
  EXPECT_EQ(watch.options.intervalMs, 200);
  EXPECT_TRUE(watch.options.json);
  const Parsed version = Parse({"--version"});
  EXPECT_EQ(version.exit, 0);
  EXPECT_EQ(version.out.str(), "volmtime " VOLM_VERSION "\n");
}

TEST(CommandLine, RefusesMistakesWithExitCodeTwoNamingTheMistake) {
  const std::vector<std::pair<std::vector<const char*>, std::string>> mistakes = {
      {{"now", "extra"}, "volmtime now: unexpected argument 'extra'"},
      {{"watch", "n", "--bogus=1"}, "volmtime watch: unknown option --bogus"},
      {{"--bogus"}, "volmtime: unknown option --bogus"},
      {{"frobnicate"}, "volmtime: unknown subcommand 'frobnicate'"},
      {{"watch"}, "NAME is required"},
      {{"inspect", "n", "--json", "--csv"}, "--json excludes --csv"},
      {{"publish", "n", "--interval-ms", "0"},
       "--interval-ms: must be a number from 1 to 3600000, not \"0\""},
      {{}, "A subcommand is required"}};
  for (const auto& [mistake, message] : mistakes) {
    const Parsed parsed = Parse(mistake);
    EXPECT_EQ(parsed.exit, kUsageExitCode) << message;
    const std::string err = parsed.err.str();
    EXPECT_EQ(err.substr(0, err.find('\n')), message);
  }
}

TEST(CommandLine, HelpNamesEachValueAndItsDefault) {
  const Parsed help = Parse({"publish", "--help"});
  EXPECT_EQ(help.exit, 0);
  const std::string text = help.out.str();
  for (const char* line : {"  --interval-ms MS            time between updates (default: 100)",
                           "  --duration-s SECONDS", "  --take-over                 stop"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << " not in\n" << text;
  }
}

TEST(UpdateSchedule, KeepsItsDeadlinesWhateverTheLateness) {
  UpdateSchedule schedule(1'000, 100);
  EXPECT_EQ(schedule.Next(1'000), 1'100u);
  EXPECT_EQ(schedule.Next(1'190), 1'200u);  // a late update does not move the next one
  EXPECT_EQ(schedule.Next(1'200), 1'300u);
  EXPECT_EQ(schedule.Next(1'555), 1'600u);  // deadlines already past are skipped
  EXPECT_EQ(schedule.Skipped(), 2u);
  EXPECT_EQ(schedule.Next(1'600), 1'700u);
}

TEST(DisciplineMeasures, GridRatesStepsAndIntervalsOfPublishedSamples) {
  // Updates 1000 ticks apart (the first, which starts its function, 900 before the second)
  // at 0.01 units per tick: slewing +1 % for 400 ticks, then holdover; the last sample steps
  // 2 units above where its segment arrives.
  const std::vector<CorrectionSample> samples = {{9'100, 91, 0.01},     {9'500, 95, 0.01},
                                                 {10'000, 100, 0.0101}, {10'400, 104, 0.01},
                                                 {11'000, 110, 0.0101}, {11'400, 116, 0.01}};
  EXPECT_EQ(LargestStep(samples), 2);
  EXPECT_DOUBLE_EQ(MeanUpdateInterval(samples), 1'000);
  const std::vector<double> rates = GridRatesPpm(samples, 10'000, 12'000, 500, 0.01);
  ASSERT_EQ(rates.size(), 4u);
  EXPECT_NEAR(rates[0], 8'000, 1e-6);  // 400 of 500 ticks at +1 %
  EXPECT_NEAR(rates[1], 0, 1e-6);
  EXPECT_NEAR(rates[2], 8'000, 1e-6);
  EXPECT_NEAR(rates[3], 0, 1e-6);
  // A 1000-tick second: offsets of +-30 ns while published, the last second's mean 30 ns,
  // then seconds whose means drift to 10 and 90 ns.
  const DisciplineMeasures measured =
      MeasureDiscipline(samples, {{10'900, -30}, {11'600, 30}, {11'900, 30}},
                        {{12'100, 10}, {13'500, 90}}, 10'000, 12'000, 1'000);
  EXPECT_DOUBLE_EQ(measured.rmsOffsetNs, 30);
  EXPECT_DOUBLE_EQ(measured.holdoverDriftNs, 60);
  const std::vector<ReportLine> lines = JudgeDiscipline({100, 0.03, 0, 99, 201, 10, 100.05});
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_FALSE(lines[0].held);  // 0.03 ppm
  EXPECT_TRUE(lines[2].held);   // 99 ns
  EXPECT_FALSE(lines[3].held);  // 201 ns
  EXPECT_TRUE(lines[4].held);   // 0.05 %
}

TEST(ExactOffsets, AreTakenFromIntegerDifferencesOfLargeTimes) {
  // Samples 1,000,000 ticks apart at 0.01 units per tick, a few units off a straight line:
  // in doubles near kNow these offsets would all round to multiples of 16.
  const std::vector<std::int64_t> off = {0, 3, -2, 5, 0};
  std::vector<CorrectionSample> samples;
  for (std::size_t i = 0; i < off.size(); ++i) {
    samples.push_back(
        {1'000'000 * (i + 1), kNow + 10'000 * i + static_cast<std::uint64_t>(off[i] + 10), 0.01});
  }
  const std::vector<double> offsets = OffsetsFromLine(samples);
  for (std::size_t i = 0; i < off.size(); ++i)
    EXPECT_NEAR(offsets[i], static_cast<double>(off[i]), 1e-9) << i;
  EXPECT_EQ(UpdateSteps(samples), (std::vector<std::int64_t>{3, -5, 7, -5}));
}

TEST(TimeFormat, SystemTimesSecondsAndOffsetsKeepEveryDigit) {
  // 2026-11-23T12:34:56.1234567Z in 100-ns units since 1601, and times around 1970.
  const std::pair<std::uint64_t, const char*> times[] = {
      {134'399'108'961'234'567, "2026-11-23T12:34:56.1234567Z"},
      {116'444'736'000'000'001, "1970-01-01T00:00:00.0000001Z"},
      {116'444'735'990'000'000, "1969-12-31T23:59:59.0000000Z"}};
  for (const auto& [units, text] : times) EXPECT_EQ(FormatSystemTime(units), text);
  EXPECT_EQ(FormatSeconds(12'345'678), "1.2345678 s");
  EXPECT_EQ(FormatOffsetUs(-15), "-1.5 us");
  EXPECT_EQ(FormatOffsetUs(INT64_MIN), "-922337203685477580.8 us");
  EXPECT_EQ(FormatOffsetUs(7), "+0.7 us");
}

TEST(Plot, IsValidXmlWithEscapedTextAndRoundTickLabels) {
  Plot plot{
      "store a&b <\"c\">",
      "time before now (s)",
      {-3.0, -2.0, -1.0, 0.0},
      {{"offset", "µs", {-0.02, 0.01, 0.035, 0.0}, ""}, {"rate", "ppm", {1.5, 1.5, 1.5, 1.5}, ""}}};
  const std::string svg = DrawPlot(plot);
  boost::property_tree::ptree document;
  std::istringstream stream(svg);
  ASSERT_NO_THROW(boost::property_tree::read_xml(stream, document)) << svg;
  EXPECT_EQ(document.get<std::string>("svg.title"), plot.title);
  EXPECT_NE(svg.find(">0.02</text>"), std::string::npos);  // a tick label of the offsets
  EXPECT_NE(svg.find(">-2.5</text>"), std::string::npos);  // and of the time axis
}

// Every store name gets a file name of its own that every system takes: plain names stay
// readable, other bytes are spelt out, and the longest names are cut and told apart by a
// digest of the whole name.
TEST(ToolFiles, EveryNameGetsAShortFileNameOfItsOwn) {
  std::string longestButOne(255, 'a');
  longestButOne.back() = 'b';
  const std::vector<std::string> names = {
      "a b", "a_32b", "a~", std::string(255, 'a'), longestButOne, std::string(255, '\xff')};
  std::set<std::string> bases;
  for (const std::string& name : names) {
    bases.insert(FileBaseOf(name));
    EXPECT_LE(FileBaseOf(name).size(), 120u) << name;
    EXPECT_EQ(FileBaseOf(name).find_first_of("/\\ :*?\"<>|"), std::string::npos) << name;
  }
  EXPECT_EQ(bases.size(), names.size());
  EXPECT_EQ(FileBaseOf("Plant-1.a b"), "Plant-1.a_32b");
}

}  // namespace
