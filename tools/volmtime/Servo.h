// SPDX-License-Identifier: MIT
// The clock servo of `volmtime publish`: (counter, reference, counter) readings in, the
// samples of the shared function out. No library, no clock and no sleeping, so that it runs
// in simulation against a known truth exactly as it runs on a machine.
//
// Each update appends two samples. The slewing sample starts on the published function at a
// tick a margin ahead of the counter, so no reader can have passed it when it is published,
// at exactly the time the function gives there: readers' time neither steps nor goes back.
// Its rate is the frequency estimate a little off, so that by the holdover sample the
// function has reached the reference line (the offset is removed within the maximum slew,
// at most half an interval unless it is large). The holdover sample runs at the frequency
// estimate itself: the function never ends on a slewing segment, and readers of a publisher
// that died keep time at the best estimate. From the two samples of an update any reader of
// the store reads back the estimate (the holdover rate) and the offset being removed (the
// difference of the rates times the slewing span).
#ifndef TOOLS_VOLMTIME_SERVO_H
#define TOOLS_VOLMTIME_SERVO_H

#include "FrequencyEstimator.h"
#include "Segments.h"

#include <cstdint>
#include <span>
#include <vector>

// A reference reading between two counter readings.
struct Reading {
  std::uint64_t tickBefore = 0;
  std::uint64_t referenceNs = 0;  // nanoseconds since 1601-01-01
  std::uint64_t tickAfter = 0;
};

// The narrowest of several readings: the one whose counter readings are closest together.
Measurement NarrowestReading(std::span<const Reading> readings);

struct ServoSettings {
  std::uint64_t counterFrequency = 0;  // ticks per second
  std::uint64_t intervalTicks = 0;     // between updates
  double maxSlew = 0;                  // the most a slewing rate may differ, as a fraction
  std::uint64_t jumpNs = 0;            // an offset beyond this is a jump of the reference
  std::uint64_t marginTicks = 0;       // how far ahead of the counter a new segment starts

  // The settings of a publisher with these options; the margin is 2 ms, at most a quarter
  // of the interval.
  static ServoSettings For(std::uint64_t counterFrequency, double intervalMs, double maxSlewPpm,
                           double jumpMs);
};

struct ServoUpdate {
  enum class Action {
    kNothing,    // publish nothing this time
    kAppend,     // append `samples` and publish
    kStartOver,  // the reference stepped back beyond the jump limit: reset, then append
  };
  enum class Event {
    kTracking,
    kCounterStill,  // the counter has not moved on since the last update
    kSlewRunning,   // the last update's slewing segment has not ended yet
    kJumpForward,   // a new segment starts at the reference
    kJumpBack,      // the function starts over at the reference
  };
  Action action = Action::kNothing;
  Event event = Event::kTracking;
  FrequencyEstimator::Fate fate = FrequencyEstimator::Fate::kAccepted;
  std::vector<CorrectionSample> samples;
  // The first new sample's tick, which the counter must not have reached when the samples
  // are published; 0 when nothing new is appended.
  std::uint64_t joinTick = 0;
  // How many of `samples` are those of a function readers followed, published again.
  std::size_t continuedSamples = 0;
  // The published function minus the reading, at the reading; 0 without a function.
  std::int64_t readingOffsetNs = 0;
  // The function minus the reference line where the new segment starts: what it removes.
  double offsetNs = 0;
  // The counter's own frequency error against the reference (positive: the counter is fast),
  // and the estimate's standard error.
  double frequencyPpm = 0;
  double skewPpm = 0;
};

class Servo {
 public:
  explicit Servo(const ServoSettings& settings);

  // The first update. `earlier`: the last samples (oldest first) of a function that readers
  // already follow, from a publisher this one takes over from; they are published again and
  // continued without a step.
  ServoUpdate Start(std::span<const Reading> readings, std::span<const CorrectionSample> earlier);
  ServoUpdate Update(std::span<const Reading> readings);

 private:
  ServoSettings settings_;
  FrequencyEstimator estimator_;
  // The samples readers evaluate now, as far back as an update needs them.
  std::vector<CorrectionSample> published_;
  // Whether the last update started the function afresh rather than continuing it.
  bool restarted_ = false;
  std::uint64_t lastTick_ = 0;
};

#endif  // TOOLS_VOLMTIME_SERVO_H
