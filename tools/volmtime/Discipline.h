// SPDX-License-Identifier: MIT
// How `volmtime publish` turns (tick, system time) pairs into the samples of a shared
// function: one segment per update, whose rate brings the function to the system clock,
// and that never starts below where the previous segment ends unless the clock jumped.
#ifndef TOOLS_VOLMTIME_DISCIPLINE_H
#define TOOLS_VOLMTIME_DISCIPLINE_H

#include <VolmTime/VolmSampleStore.h>

#include <cstdint>
#include <optional>

using VolmTime::CorrectionSample;

// One counter reading and the system time taken with it.
struct TimePair {
  std::uint64_t tick;
  std::uint64_t time;
};

// The time a segment gives at `tick`, computed as the library evaluates it.
std::uint64_t TimeOnSegment(const CorrectionSample& segment, std::uint64_t tick);

// a - b for two times (or ticks) near each other, exact however large they are.
constexpr std::int64_t Difference(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::int64_t>(a - b);
}

class Discipline {
 public:
  enum class Action {
    kAppend,     // add `sample` and publish
    kStartOver,  // the system clock went back beyond the limit: reset, then add `sample`
    kSkip,       // nothing to add (the counter or the time did not move on)
  };

  struct Update {
    Action action;
    CorrectionSample sample;
    // System time minus what the previous segment gives at the same tick, in 100-ns units.
    std::int64_t offset;
    bool jump;
  };

  // `nominalRate`: time units per tick of the counter's nominal frequency; an offset beyond
  // `jumpUnits` either way is a jump.
  Discipline(double nominalRate, std::uint64_t jumpUnits);

  // The first sample. `earlier` is the latest segment of a function that readers were
  // already following (a writer that was taken over): it is continued like any previous
  // segment, so readers' time does not go back at the hand-over.
  Update Start(TimePair now, const std::optional<CorrectionSample>& earlier);
  // The sample for the next update.
  Update Next(TimePair now);

 private:
  double nominal_;
  std::int64_t jump_;
  CorrectionSample previous_{0, 0, 0.0};
};

#endif  // TOOLS_VOLMTIME_DISCIPLINE_H
