// SPDX-License-Identifier: MIT
#include "Servo.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kNsPerUnit = 100;
constexpr double kNsPerSecond = 1e9;
// The window of measurements the frequency is fitted over: this long, or this many updates
// when they are further apart.
constexpr double kWindowSeconds = 10;
constexpr std::uint64_t kWindowUpdates = 16;
// The samples of the published function the servo keeps: the last two updates'.
constexpr std::size_t kSamplesKept = 4;

// A time in units with its fraction, for times near 1.3e17 that a double does not hold to
// the unit.
struct PreciseUnits {
  std::uint64_t whole;
  double fraction;  // from 0 up to 1
};

// Where the function should be at `tick`: on the reference line, plus half a unit because
// readers truncate, so that what they read is the reference rounded to the unit.
PreciseUnits Target(const ReferenceLine& line, std::uint64_t tick) {
  const double units =
      (static_cast<double>(line.baseNs % 100) + line.At(tick) + kNsPerUnit / 2) / kNsPerUnit;
  const double whole = std::floor(units);
  return {line.baseNs / 100 + static_cast<std::uint64_t>(static_cast<std::int64_t>(whole)),
          units - whole};
}

// The first tick from `tick` on where a line that has the fraction `fraction` of a unit at
// `tick` and rises `rate` units per tick has just passed a whole unit. A sample placed there
// loses less than a tick's worth to the truncation of its time to whole units, where
// elsewhere it would lose up to a unit: a step of the exact function that a slew would then
// have to take out again. A counter whose ticks are a unit or longer offers no such choice.
std::uint64_t WhereUnitIsWhole(std::uint64_t tick, double fraction, double rate) {
  if (!(rate < 1) || fraction <= 0) return tick;
  return tick + static_cast<std::uint64_t>(std::ceil((1 - fraction) / rate));
}

// The fraction of a unit by which a segment's exact line lies above what the library
// evaluates at `tick`.
double FractionOnSegment(const CorrectionSample& segment, std::uint64_t tick) {
  const double exact = static_cast<double>(tick - segment.tick) * segment.rate;
  return exact - std::floor(exact);
}

// The rate from (fromTick, fromTime) that the library evaluates to exactly `toTime` at
// `toTick`.
double RateBetween(std::uint64_t fromTick, std::uint64_t fromTime, std::uint64_t toTick,
                   std::uint64_t toTime) {
  CorrectionSample segment{
      fromTick, fromTime,
      static_cast<double>(toTime - fromTime) / static_cast<double>(toTick - fromTick)};
  // The quotient is off by an ulp or so; a few steps of one ulp bring the product onto the
  // whole unit.
  for (int step = 0; step < 64; ++step) {
    const std::uint64_t reached = TimeOnSegment(segment, toTick);
    if (reached == toTime) break;
    segment.rate = std::nextafter(segment.rate,
                                  reached < toTime ? std::numeric_limits<double>::infinity() : 0.0);
  }
  return segment.rate;
}

}  // namespace

Measurement NarrowestReading(std::span<const Reading> readings) {
  const auto narrowest =
      std::min_element(readings.begin(), readings.end(), [](const Reading& a, const Reading& b) {
        return a.tickAfter - a.tickBefore < b.tickAfter - b.tickBefore;
      });
  return {narrowest->tickBefore, narrowest->tickAfter - narrowest->tickBefore,
          narrowest->referenceNs};
}

ServoSettings ServoSettings::For(std::uint64_t counterFrequency, double intervalMs,
                                 double maxSlewPpm, double jumpMs) {
  ServoSettings settings;
  settings.counterFrequency = counterFrequency;
  const double ticksPerMs = static_cast<double>(counterFrequency) / 1e3;
  const auto ticks = [](double value) {
    return std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(value)));
  };
  settings.intervalTicks = ticks(intervalMs * ticksPerMs);
  settings.maxSlew = maxSlewPpm * 1e-6;
  settings.jumpNs = ticks(jumpMs * 1e6);
  settings.marginTicks =
      std::max<std::uint64_t>(1, std::min(ticks(2 * ticksPerMs), settings.intervalTicks / 4));
  return settings;
}

Servo::Servo(const ServoSettings& settings)
    : settings_(settings),
      estimator_(kNsPerSecond / static_cast<double>(settings.counterFrequency),
                 std::max(static_cast<std::uint64_t>(
                              kWindowSeconds * static_cast<double>(settings.counterFrequency)),
                          kWindowUpdates * settings.intervalTicks)) {}

ServoUpdate Servo::Start(std::span<const Reading> readings,
                         std::span<const CorrectionSample> earlier) {
  published_.clear();
  // Only a function a reader can follow is continued.
  const bool usable =
      !earlier.empty() && std::all_of(earlier.begin(), earlier.end(), [](const auto& s) {
        return s.rate > 0 && std::isfinite(s.rate);
      });
  bool increasing = true;
  for (std::size_t i = 1; i < earlier.size(); ++i)
    increasing = increasing && earlier[i].tick > earlier[i - 1].tick &&
                 earlier[i].time > earlier[i - 1].time;
  if (usable && increasing) published_.assign(earlier.begin(), earlier.end());
  const std::vector<CorrectionSample> continued = published_;
  ServoUpdate update = Update(readings);
  // The store a publisher starts with is empty: starting over needs no reset, and the
  // function readers followed is published again where it is continued.
  if (!continued.empty() && !restarted_) {
    update.samples.insert(update.samples.begin(), continued.begin(), continued.end());
    update.continuedSamples = continued.size();
  }
  if (!update.samples.empty()) update.action = ServoUpdate::Action::kAppend;
  return update;
}

ServoUpdate Servo::Update(std::span<const Reading> readings) {
  ServoUpdate update;
  restarted_ = false;
  const Measurement measurement = NarrowestReading(readings);
  // The counter's latest reading: new samples start ahead of it, whichever reading was kept.
  std::uint64_t now = 0;
  for (const Reading& reading : readings) now = std::max(now, reading.tickAfter);
  if (lastTick_ != 0 && now <= lastTick_) {
    update.event = ServoUpdate::Event::kCounterStill;
    return update;
  }
  lastTick_ = now;

  // Where the new segment starts: on the published function, or at the reference after a jump.
  enum class Anchor { kJoin, kReference, kStartOver } anchor = Anchor::kJoin;
  const std::optional<std::uint64_t> published =
      TimeOnSamples(published_, measurement.tick + measurement.width / 2);
  if (!published) {
    restarted_ = true;
    published_.clear();
    update.fate = estimator_.Add(measurement);
    anchor = Anchor::kReference;
  } else {
    update.readingOffsetNs = Difference(*published * 100, measurement.referenceNs);
    // A reading as wide as the jump limit (the thread lost the processor that long) could
    // be that far off by itself: it is no jump.
    const auto jump = static_cast<std::int64_t>(
        static_cast<double>(settings_.jumpNs) +
        static_cast<double>(measurement.width) * kNsPerSecond /
            static_cast<double>(settings_.counterFrequency));
    if (update.readingOffsetNs > jump) {
      // The reference stepped back: readers' time cannot follow while the function goes on.
      update.event = ServoUpdate::Event::kJumpBack;
      anchor = Anchor::kStartOver;
      estimator_.Restart(measurement);
    } else if (update.readingOffsetNs < -jump) {
      // A suspended machine or a reference stepped forward.
      update.event = ServoUpdate::Event::kJumpForward;
      anchor = Anchor::kReference;
      estimator_.Restart(measurement);
    } else {
      update.fate = estimator_.Add(measurement);
    }
  }
  const ReferenceLine& line = *estimator_.Line();
  const double frequency = static_cast<double>(settings_.counterFrequency);
  update.frequencyPpm = (kNsPerSecond / line.nsPerTick / frequency - 1) * 1e6;
  update.skewPpm = line.slopeError / line.nsPerTick * 1e6;

  // A function that continues starts its new segment ahead of the counter; one that starts
  // afresh is new to every reader and starts where the reading was taken, so that it is
  // defined at the counter as soon as it is published.
  const bool afresh = anchor == Anchor::kStartOver || published_.empty();
  std::uint64_t join = afresh ? measurement.tick : now + settings_.marginTicks;
  std::uint64_t start = 0;
  if (anchor == Anchor::kJoin) {
    const CorrectionSample& last = published_.back();
    join = WhereUnitIsWhole(join, FractionOnSegment(last, join), last.rate);
  } else {
    join = WhereUnitIsWhole(join, Target(line, join).fraction, line.nsPerTick / kNsPerUnit);
  }
  if (anchor != Anchor::kStartOver && !published_.empty()) {
    const CorrectionSample& last = published_.back();
    // The last update's samples ahead of the counter stay as they are until it passes them.
    if (join <= last.tick || TimeOnSegment(last, join) <= last.time) {
      if (update.event == ServoUpdate::Event::kTracking)
        update.event = ServoUpdate::Event::kSlewRunning;
      return update;
    }
    start = TimeOnSegment(last, join);
  }
  const PreciseUnits atJoin = Target(line, join);
  if (anchor != Anchor::kJoin) start = atJoin.whole;
  if (anchor == Anchor::kReference && !published_.empty() && start <= published_.back().time)
    anchor = Anchor::kStartOver;

  // The slew: the offset is gone by the holdover sample, at most maxSlew off the estimate.
  const double rate = line.nsPerTick / kNsPerUnit;
  const double offset = static_cast<double>(Difference(start, atJoin.whole)) - atJoin.fraction;
  const auto needed =
      static_cast<std::uint64_t>(std::ceil(std::abs(offset) / (settings_.maxSlew * rate)));
  std::uint64_t holdoverTick = join + std::max(settings_.intervalTicks / 2, needed);
  PreciseUnits atHoldover = Target(line, holdoverTick);
  // The holdover segment runs on the reference line, not up to a unit below it.
  holdoverTick = WhereUnitIsWhole(holdoverTick, atHoldover.fraction, rate);
  atHoldover = Target(line, holdoverTick);
  const std::uint64_t holdoverTime = atHoldover.whole + (atHoldover.fraction >= 0.5 ? 1 : 0);
  const CorrectionSample slewing{join, start, RateBetween(join, start, holdoverTick, holdoverTime)};
  const CorrectionSample holdover{holdoverTick, holdoverTime, rate};

  update.action =
      anchor == Anchor::kStartOver ? ServoUpdate::Action::kStartOver : ServoUpdate::Action::kAppend;
  update.samples = {slewing, holdover};
  update.joinTick = afresh ? 0 : join;
  update.offsetNs = offset * kNsPerUnit;
  if (anchor == Anchor::kStartOver) {
    restarted_ = true;
    published_.clear();
  }
  published_.push_back(slewing);
  published_.push_back(holdover);
  if (published_.size() > kSamplesKept)
    published_.erase(published_.begin(),
                     published_.end() - static_cast<std::ptrdiff_t>(kSamplesKept));
  return update;
}
