// SPDX-License-Identifier: MIT
// The volmtime tool's own logic: its command line, the publisher's segment rules, exact
// offsets on times near 1.3e17, the discipline summary, the plot as an XML document (its
// axis titles and the numbers it carries are checked end to end by publish-and-plot.sh),
// and the names of its files.
#include "Cli.h"
#include "Discipline.h"
#include "StoreAnalysis.h"
#include "Svg.h"
#include "TimeFormat.h"
#include "ToolFiles.h"

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

// The segment rules: a publisher with a 1 GHz counter (100 ticks per time unit), a 50 ms
// jump limit, and the previous segment at kNow with the nominal rate.
class SegmentRules : public ::testing::Test {
 protected:
  static constexpr double kNominal = 0.01;
  static constexpr std::uint64_t kJump = 500'000;
  static constexpr std::uint64_t kInterval = 100'000'000;  // ticks: 100 ms

  SegmentRules() : discipline_(kNominal, kJump) {
    previous_ = discipline_.Start({1'000'000, kNow}, std::nullopt).sample;
  }

  // The next update with the system clock `offset` units from where the segment arrives.
  Discipline::Update After(std::int64_t offset) {
    const std::uint64_t tick = previous_.tick + kInterval;
    const auto arrives = static_cast<std::int64_t>(TimeOnSegment(previous_, tick));
    const Discipline::Update update =
        discipline_.Next({tick, static_cast<std::uint64_t>(arrives + offset)});
    previous_ = update.sample;
    return update;
  }

  Discipline discipline_;
  CorrectionSample previous_{};
};

TEST_F(SegmentRules, DriftBendsTheRateAndNeverStartsBelowThePreviousSegment) {
  const CorrectionSample before = previous_;
  Discipline::Update late = After(-30);
  EXPECT_EQ(late.action, Discipline::Action::kAppend);
  EXPECT_FALSE(late.jump);
  EXPECT_EQ(late.offset, -30);
  // The system clock is behind: the segment starts one unit above where the old one ends.
  EXPECT_EQ(late.sample.time, TimeOnSegment(before, late.sample.tick) + 1);
  EXPECT_LT(late.sample.rate, kNominal);
  const CorrectionSample slow = previous_;
  Discipline::Update early = After(+40);
  EXPECT_EQ(early.sample.time, TimeOnSegment(slow, early.sample.tick) + 40);
  EXPECT_GT(early.sample.rate, slow.rate);
}

TEST_F(SegmentRules, AJumpForwardStartsASegmentAtTheJumpWithTheRateBefore) {
  After(+25);
  const double rate = previous_.rate;
  const Discipline::Update jump = After(+600'000);
  EXPECT_EQ(jump.action, Discipline::Action::kAppend);
  EXPECT_TRUE(jump.jump);
  EXPECT_EQ(jump.sample.rate, rate);
}

TEST_F(SegmentRules, AClockSteppedBackBeyondTheLimitStartsOver) {
  const Discipline::Update back = After(-600'000);
  EXPECT_EQ(back.action, Discipline::Action::kStartOver);
  EXPECT_TRUE(back.jump);
  EXPECT_EQ(back.sample.rate, kNominal);
  EXPECT_EQ(back.sample.time, TimeOnSegment(previous_, back.sample.tick));
  EXPECT_EQ(After(0).action, Discipline::Action::kAppend);
  // A reading at the same tick adds nothing.
  const Discipline::Update same = discipline_.Next({previous_.tick, previous_.time + 5});
  EXPECT_EQ(same.action, Discipline::Action::kSkip);
  EXPECT_EQ(same.sample.tick, previous_.tick);
  // A system clock that has stood still since the last update, within the limit, starts over.
  EXPECT_EQ(discipline_.Next({previous_.tick + 1'000, previous_.time}).action,
            Discipline::Action::kStartOver);
}

TEST_F(SegmentRules, ATakenOverFunctionIsContinuedWithoutGoingBack) {
  // Readers followed a function 2 ms ahead of the system clock.
  const CorrectionSample earlier{5'000'000, kNow + 20'000, kNominal};
  Discipline next(kNominal, kJump);
  const std::uint64_t tick = earlier.tick + kInterval;
  const Discipline::Update first =
      next.Start({tick, TimeOnSegment(earlier, tick) - 20'000}, earlier);
  EXPECT_EQ(first.action, Discipline::Action::kAppend);
  EXPECT_EQ(first.sample.time, TimeOnSegment(earlier, tick) + 1);
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

TEST(Tracking, SummarisesTheDisciplineAndNoticesAStoppedPublisher) {
  // 1 GHz counter: nominal rate 0.01; updates every 0.1 s at +2 ppm, steps of +1 unit.
  const double rate = 0.01 * (1 + 2e-6);
  std::vector<CorrectionSample> samples{{1'000'000'000, kNow, rate}};
  for (int i = 1; i < 10; ++i) {
    const CorrectionSample& last = samples.back();
    const std::uint64_t tick = last.tick + 100'000'000;
    samples.push_back({tick, TimeOnSegment(last, tick) + 1, rate});
  }
  const TrackingState live = Track(samples, 1'000'000'000, samples.back().tick + 50'000'000);
  EXPECT_NEAR(live.frequencyPpm, 2.0, 1e-6);
  EXPECT_NEAR(live.frequencyChangePpm, 0.0, 1e-9);
  EXPECT_DOUBLE_EQ(live.lastOffsetNs, 100.0);
  EXPECT_DOUBLE_EQ(live.rmsOffsetNs, 100.0);
  EXPECT_DOUBLE_EQ(live.updateIntervalS, 0.1);
  EXPECT_DOUBLE_EQ(live.lastUpdateAgeS, 0.05);
  EXPECT_FALSE(live.stale);
  EXPECT_TRUE(Track(samples, 1'000'000'000, samples.back().tick + 2'000'000'000).stale);
  samples.back().rate = 0.01 * (1 + 5e-6);
  EXPECT_NEAR(Track(samples, 1'000'000'000, samples.back().tick).frequencyChangePpm, 3.0, 1e-6);
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
  const std::vector<std::string> names = {"a b", "a_32b", "a~", std::string(255, 'a'),
                                          longestButOne, std::string(255, '\xff')};
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
