// SPDX-License-Identifier: MIT
// The publisher's servo in simulation against a known truth: what readers of the published
// function see while it tracks a reference, once its publisher has stopped, when readings
// come late, when the reference steps or the machine is suspended, and when a publisher
// takes over; and what `tracking` and `watch` read back from the samples it leaves.
#include "SimulatedMachine.h"
#include "StoreAnalysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr double kNsPerSecond = 1e9;

double Rms(const std::vector<double>& values) {
  double squares = 0;
  for (const double value : values) squares += value * value;
  return std::sqrt(squares / static_cast<double>(values.size()));
}

// Readers at 50 ns of read noise: within 50 ns RMS of the reference (the 100-ns unit alone
// accounts for 29), and within 200 ns 10 s after the publisher stopped.
TEST(ServoSimulation, TracksAWanderingReferenceAndHoldsOverOnceStopped) {
  std::uint64_t seed = 10;
  for (const double offsetPpm : {-200.0, 0.0, 200.0}) {
    SimulatedMachine machine({offsetPpm, 0.002, 50, 0, ++seed});
    SimulatedPublisher publisher(machine, 100);
    ASSERT_NO_FATAL_FAILURE(publisher.Start());
    std::vector<double> errors;
    for (int update = 0; update < 800; ++update)
      ASSERT_NO_FATAL_FAILURE(publisher.Next(update < 200 ? nullptr : &errors));
    EXPECT_LE(Rms(errors), 50) << offsetPpm << " ppm";
    ASSERT_NO_FATAL_FAILURE(publisher.Read(10 * kNsPerSecond));
    EXPECT_LE(std::abs(publisher.ErrorNs()), 200) << offsetPpm << " ppm";
  }
}

// An update whose every reading came late (the thread lost the processor between the counter
// and the reference) tells little about the reference; three in ten of them change nothing
// readers see.
TEST(ServoSimulation, ReadingsThatCameLateDoNotReachReaders) {
  SimulatedMachine machine({35, 0.002, 50, 0.3, 3});
  SimulatedPublisher publisher(machine, 100);
  ASSERT_NO_FATAL_FAILURE(publisher.Start());
  std::vector<double> errors;
  for (int update = 0; update < 600; ++update)
    ASSERT_NO_FATAL_FAILURE(publisher.Next(update < 200 ? nullptr : &errors));
  EXPECT_LE(Rms(errors), 50);
}

// Beyond the jump limit a step forward (or a suspended machine) starts a new segment at the
// reference and a step back starts the function over; within it, readers' time never steps
// and the offset is slewed out at the maximum slew at most.
TEST(ServoSimulation, JumpsBeyondTheLimitAndSlewsWithinIt) {
  SimulatedMachine machine({60, 0.002, 50, 0, 5});
  SimulatedPublisher publisher(machine, 100, 500, 50);
  ASSERT_NO_FATAL_FAILURE(publisher.Start());
  for (int update = 0; update < 100; ++update) ASSERT_NO_FATAL_FAILURE(publisher.Next());
  const auto settles = [&] {
    for (int update = 0; update < 20; ++update) ASSERT_NO_FATAL_FAILURE(publisher.Next());
    EXPECT_LE(std::abs(publisher.ErrorNs()), 1000);
  };

  ServoUpdate update;
  machine.StepReference(kNsPerSecond);
  ASSERT_NO_FATAL_FAILURE(update = publisher.Next());
  EXPECT_EQ(update.event, ServoUpdate::Event::kJumpForward);
  EXPECT_EQ(update.action, ServoUpdate::Action::kAppend);
  settles();

  machine.StepReference(-kNsPerSecond);
  ASSERT_NO_FATAL_FAILURE(update = publisher.Next());
  EXPECT_EQ(update.event, ServoUpdate::Event::kJumpBack);
  EXPECT_EQ(update.action, ServoUpdate::Action::kStartOver);
  settles();

  machine.Suspend(5 * kNsPerSecond);  // the counter stops, the reference runs on
  ASSERT_NO_FATAL_FAILURE(update = publisher.Next());
  EXPECT_EQ(update.event, ServoUpdate::Event::kJumpForward);
  settles();

  machine.StepReference(20'000);
  double largestSlew = 0;
  for (int step = 0; step < 10; ++step) {
    ASSERT_NO_FATAL_FAILURE(update = publisher.Next());
    EXPECT_EQ(update.event, ServoUpdate::Event::kTracking);
    if (update.samples.size() == 2)
      largestSlew = std::max(largestSlew,
                             std::abs(update.samples[0].rate / update.samples[1].rate - 1));
  }
  EXPECT_LE(largestSlew, 500e-6 * (1 + 1e-6));
  EXPECT_GT(largestSlew, 400e-6);  // the offset took the fastest slew allowed
  EXPECT_LE(std::abs(publisher.ErrorNs()), 1000);
}

// A publisher that takes over publishes the samples readers followed again and continues
// them: its first publish leaves readers' time where it was, and it waits for the counter to
// pass the holdover sample that the one before it left ahead.
TEST(ServoSimulation, ATakenOverFunctionIsContinuedWithoutAStep) {
  SimulatedMachine machine({-80, 0.002, 50, 0, 7});
  SimulatedPublisher first(machine, 100);
  ASSERT_NO_FATAL_FAILURE(first.Start());
  for (int update = 0; update < 50; ++update) ASSERT_NO_FATAL_FAILURE(first.Next());
  const std::vector<CorrectionSample> earlier(first.Samples().end() - 4, first.Samples().end());
  ASSERT_GT(earlier.back().tick, machine.Tick());  // the holdover sample lies ahead
  const std::uint64_t before = first.TimeNow();

  SimulatedPublisher second(machine, 100);
  ServoUpdate update;
  ASSERT_NO_FATAL_FAILURE(update = second.Start(earlier));
  ASSERT_GE(update.samples.size(), 2u);
  EXPECT_EQ(update.samples[0].tick, earlier[0].tick);
  EXPECT_EQ(second.TimeNow(), first.TimeNow());
  EXPECT_GE(second.TimeNow(), before);
  for (int next = 0; next < 50; ++next) ASSERT_NO_FATAL_FAILURE(second.Next());
  EXPECT_LE(std::abs(second.ErrorNs()), 1000);
}

// `tracking` reads the servo's frequency estimate (as the counter's own error, positive when
// it runs fast), the offsets it removed and its cadence back from the samples alone.
TEST(TrackingFromSamples, ReadsTheEstimateTheOffsetsAndTheIntervalBack) {
  SimulatedMachine machine({150, 0, 50, 0, 9});
  SimulatedPublisher publisher(machine, 100);
  ASSERT_NO_FATAL_FAILURE(publisher.Start());
  std::vector<ServoUpdate> updates;
  for (int update = 0; update < 300; ++update) {
    updates.emplace_back();
    ASSERT_NO_FATAL_FAILURE(updates.back() = publisher.Next());
  }
  constexpr std::size_t kWindow = 100;
  const std::vector<CorrectionSample> window(publisher.Samples().end() - 2 * kWindow,
                                             publisher.Samples().end());
  const TrackingState state = Track(window, SimulatedMachine::kFrequency, machine.Tick());
  EXPECT_EQ(state.updates, kWindow);
  EXPECT_NEAR(state.frequencyPpm, 150, 0.01);
  EXPECT_NEAR(state.frequencyPpm, updates.back().frequencyPpm, 1e-6);
  EXPECT_NEAR(state.residualFrequencyPpm,
              updates.back().frequencyPpm - updates[updates.size() - 2].frequencyPpm, 1e-6);
  EXPECT_NEAR(state.lastOffsetNs, updates.back().offsetNs, 1);
  std::vector<double> offsets;
  for (std::size_t i = updates.size() - kWindow; i < updates.size(); ++i)
    offsets.push_back(updates[i].offsetNs);
  EXPECT_NEAR(state.rmsOffsetNs, Rms(offsets), 1);
  EXPECT_NEAR(state.updateIntervalS, 0.1025, 0.0026);
  EXPECT_LT(state.skewPpm, 0.01);
  EXPECT_FALSE(state.stale);
}

// A store is stale once it has not been updated for four of its own update intervals, and
// never within a second.
TEST(TrackingFromSamples, AStoreGoesStaleAfterFourOfItsIntervalsAndAtLeastASecond) {
  const auto staleAfter = [](double intervalMs, double silenceS) {
    SimulatedMachine machine({0, 0, 50, 0, 11});
    SimulatedPublisher publisher(machine, intervalMs);
    publisher.Start();
    for (int update = 0; update < 10; ++update) publisher.Next();
    const CorrectionSample& latestUpdate = publisher.Samples()[publisher.Samples().size() - 2];
    const auto silence = static_cast<std::uint64_t>(silenceS * SimulatedMachine::kFrequency);
    return Track(publisher.Samples(), SimulatedMachine::kFrequency, latestUpdate.tick + silence).stale;
  };
  EXPECT_FALSE(staleAfter(1000, 1.5));
  EXPECT_TRUE(staleAfter(1000, 4.5));
  EXPECT_FALSE(staleAfter(100, 0.9));
  EXPECT_TRUE(staleAfter(100, 1.1));
}

}  // namespace
