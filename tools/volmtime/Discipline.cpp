// SPDX-License-Identifier: MIT
#include "Discipline.h"

#include <cmath>

std::uint64_t TimeOnSegment(const CorrectionSample& segment, std::uint64_t tick) {
  const double elapsed = static_cast<double>(tick - segment.tick) * segment.rate;
  return segment.time + (elapsed > 0 ? static_cast<std::uint64_t>(elapsed) : 0);
}

Discipline::Discipline(double nominalRate, std::uint64_t jumpUnits)
    : nominal_(nominalRate), jump_(static_cast<std::int64_t>(jumpUnits)) {}

Discipline::Update Discipline::Start(TimePair now, const std::optional<CorrectionSample>& earlier) {
  if (earlier && earlier->rate > 0 && earlier->tick < now.tick) {
    previous_ = *earlier;
    Update update = Next(now);
    // The earlier writer's rate is not this one's to keep after a jump or a restart.
    if (update.action == Action::kStartOver || update.jump) update.sample.rate = nominal_;
    if (update.action == Action::kSkip)
      update = {Action::kAppend, {now.tick, now.time, nominal_}, 0, false};
    previous_ = update.sample;
    return update;
  }
  previous_ = {now.tick, now.time, nominal_};
  return {Action::kAppend, previous_, 0, false};
}

Discipline::Update Discipline::Next(TimePair now) {
  if (now.tick <= previous_.tick) return {Action::kSkip, previous_, 0, false};
  const std::uint64_t predicted = TimeOnSegment(previous_, now.tick);
  const std::int64_t offset = Difference(now.time, predicted);
  if (offset < -jump_ || now.time <= previous_.time) {
    // The system clock stepped back: time on the shared axis cannot go back with it while
    // the function goes on, so the function starts over from here.
    previous_ = {now.tick, now.time, nominal_};
    return {Action::kStartOver, previous_, offset, true};
  }
  if (offset > jump_) {
    // A suspended machine or a clock stepped forward: a new segment starts at the jump with
    // the rate measured before it, instead of bending that rate.
    previous_ = {now.tick, now.time, previous_.rate};
    return {Action::kAppend, previous_, offset, true};
  }
  // Drift: the rate over the last interval brings the function to the system time. A
  // system clock behind the function does not pull the segment's start down (readers may
  // already have seen the time the old segment reached, one unit more for its truncation);
  // the lower rate makes up the difference over the next interval.
  const double rate = static_cast<double>(Difference(now.time, previous_.time)) /
                      static_cast<double>(now.tick - previous_.tick);
  const std::uint64_t start = offset <= 0 ? predicted + 1 : now.time;
  previous_ = {now.tick, start, rate};
  return {Action::kAppend, previous_, offset, false};
}
