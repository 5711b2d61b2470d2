// SPDX-License-Identifier: MIT
// The publisher's servo in simulation against a known truth: what readers of the published
// function see while it tracks a reference, once its publisher has stopped, when readings
// come late, when the reference steps or the machine is suspended, and when a publisher
// takes over; and what `tracking` and `watch` read back from the samples it leaves.
#include "Servo.h"
#include "StoreAnalysis.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace {

using Function =
    VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;
constexpr double kNsPerSecond = 1e9;
constexpr std::uint64_t kFrequency = 1'000'000'000;
constexpr std::uint64_t kReferenceStartNs = 13'409'000'000'000'000'000ull;  // late 2026

// A machine whose counter and reference are known exactly: the counter runs off its nominal
// frequency by a fixed offset plus a random walk, the reference is true time plus white read
// noise and any steps, and readings are taken as the publisher takes them.
struct Machine {
  double offsetPpm = 0;
  double wanderPpmPerRootSecond = 0.002;
  double noiseNs = 50;
  double stallProbability = 0;  // of an update whose every reading comes late
  std::mt19937_64 random{1};
  double ticks = 5e12;
  double elapsedNs = 0;
  double stepNs = 0;  // steps of the reference
  double wanderPpm = 0;
  double longestStallNs = 2e5;

  // True time passes; the counter runs unless the machine is suspended.
  void Advance(double ns, bool counterRuns = true) {
    wanderPpm += wanderPpmPerRootSecond * std::sqrt(ns / kNsPerSecond) * Normal();
    if (counterRuns) ticks += ns * (1 + (offsetPpm + wanderPpm) * 1e-6);
    elapsedNs += ns;
  }
  [[nodiscard]] std::uint64_t Tick() const { return static_cast<std::uint64_t>(ticks); }
  [[nodiscard]] double TruthNs() const { return elapsedNs + stepNs; }  // after kReferenceStartNs
  double Uniform(double from = 0, double to = 1) {
    return std::uniform_real_distribution<double>(from, to)(random);
  }
  double Normal() { return std::normal_distribution<double>(0, 1)(random); }
  // Eight readings tens of ns apart; all of them late when the thread lost the processor.
  std::array<Reading, 8> Readings() {
    const bool stalled = Uniform() < stallProbability;
    std::array<Reading, 8> readings;
    for (Reading& reading : readings) {
      reading.tickBefore = Tick();
      const double stall = stalled ? Uniform(0.1, 1) * longestStallNs : 0;
      Advance(Uniform(10, 40) + (Uniform() < 0.5 ? stall : 0));
      reading.referenceNs = kReferenceStartNs + static_cast<std::uint64_t>(
                                                    std::llround(TruthNs() + noiseNs * Normal()));
      Advance(Uniform(10, 40) + stall);
      reading.tickAfter = Tick();
      Advance(30);
    }
    return readings;
  }
};

// The publisher's loop: an update about every interval, the servo's samples published into
// the library's own function, readers in between. On every update it checks what readers
// must never see: time that goes back, a step where a sample joins the one before, a join the
// counter had already reached, a change of what a reader read just before the Publish.
class Publisher {
 public:
  Publisher(Machine& machine, double intervalMs)
      : machine_(machine),
        intervalMs_(intervalMs),
        servo_(ServoSettings::For(kFrequency, intervalMs, 500, 50)) {}

  ServoUpdate Start(const std::vector<CorrectionSample>& earlier = {}) {
    return Apply(servo_.Start(machine_.Readings(), earlier));
  }
  // The next update; readers' errors against the reference meanwhile go into `errorsNs`.
  ServoUpdate Next(std::vector<double>* errorsNs = nullptr) {
    Read(intervalMs_ * 1e6 * machine_.Uniform(1, 1.05), errorsNs);
    return Apply(servo_.Update(machine_.Readings()));
  }
  // Readers only, nobody publishes.
  void Read(double ns, std::vector<double>* errorsNs = nullptr) {
    for (int i = 0; i < 20; ++i) {
      machine_.Advance(ns / 20);
      EXPECT_GE(TimeNow(), lastRead_) << "readers' time went back";
      lastRead_ = TimeNow();
      if (errorsNs != nullptr) errorsNs->push_back(ErrorNs());
    }
  }
  [[nodiscard]] std::uint64_t TimeNow() const { return function_->TickToTime(machine_.Tick()); }
  // What readers read now minus the reference's true value.
  [[nodiscard]] double ErrorNs() const {
    return static_cast<double>(static_cast<std::int64_t>(TimeNow() * 100 - kReferenceStartNs)) -
           machine_.TruthNs();
  }
  [[nodiscard]] const std::vector<CorrectionSample>& Samples() const { return samples_; }

 private:
  ServoUpdate Apply(const ServoUpdate& update) {
    if (update.action == ServoUpdate::Action::kNothing) return update;
    const bool startsOver = update.action == ServoUpdate::Action::kStartOver;
    const std::uint64_t now = machine_.Tick();
    const std::uint64_t before = samples_.empty() || startsOver ? 0 : TimeNow();
    EXPECT_TRUE(update.joinTick == 0 || update.joinTick > now) << "a join readers may have passed";
    if (startsOver) {
      function_->Reset();
      samples_.clear();
      lastRead_ = 0;
    }
    for (const CorrectionSample& sample : update.samples) {
      if (!samples_.empty() && update.event != ServoUpdate::Event::kJumpForward) {
        const std::uint64_t arrives = TimeOnSegment(samples_.back(), sample.tick);
        EXPECT_LE(std::abs(Difference(sample.time, arrives)), 1) << "a step at " << sample.tick;
      }
      function_->AddSample(sample);
      samples_.push_back(sample);
    }
    function_->Publish();
    EXPECT_TRUE(before == 0 || TimeNow() == before) << "a reader's time changed at the Publish";
    return update;
  }

  Machine& machine_;
  double intervalMs_;
  Servo servo_;
  std::unique_ptr<Function> function_ = std::make_unique<Function>();
  std::vector<CorrectionSample> samples_;
  std::uint64_t lastRead_ = 0;
};

double Rms(const std::vector<double>& values) {
  double squares = 0;
  for (const double value : values) squares += value * value;
  return std::sqrt(squares / static_cast<double>(values.size()));
}

bool Failed() { return ::testing::Test::HasFailure(); }

// Readers at 50 ns of read noise: within 50 ns RMS of the reference (the 100-ns unit alone
// accounts for 29), and within 200 ns 10 s after the publisher stopped. An update whose
// every reading came late tells little; three in ten of them change nothing readers see.
TEST(ServoSimulation, TracksAWanderingReferenceAndHoldsOverOnceStopped) {
  const struct {
    double offsetPpm;
    double stallProbability;
  } cases[] = {{-200, 0}, {0, 0}, {200, 0}, {35, 0.3}};
  std::uint64_t seed = 10;
  for (const auto& [offsetPpm, stallProbability] : cases) {
    Machine machine{offsetPpm, 0.002, 50, stallProbability, std::mt19937_64(++seed)};
    Publisher publisher(machine, 100);
    publisher.Start();
    std::vector<double> errors;
    for (int update = 0; update < 800 && !Failed(); ++update)
      publisher.Next(update < 200 ? nullptr : &errors);
    EXPECT_LE(Rms(errors), 50) << offsetPpm << " ppm";
    publisher.Read(10 * kNsPerSecond);
    EXPECT_LE(std::abs(publisher.ErrorNs()), 200) << offsetPpm << " ppm";
  }
}

// Beyond the jump limit a step forward (or a suspended machine) starts a new segment at the
// reference and a step back starts the function over; within it, readers' time never steps
// and the offset is slewed out at the maximum slew at most.
TEST(ServoSimulation, JumpsBeyondTheLimitAndSlewsWithinIt) {
  Machine machine{60, 0.002, 50, 0, std::mt19937_64(5)};
  Publisher publisher(machine, 100);
  publisher.Start();
  const auto settle = [&](int updates) {
    for (int update = 0; update < updates && !Failed(); ++update) publisher.Next();
    EXPECT_LE(std::abs(publisher.ErrorNs()), 1000);
  };
  settle(100);
  const auto after = [&](auto change, ServoUpdate::Event event, ServoUpdate::Action action) {
    change();
    const ServoUpdate update = publisher.Next();
    EXPECT_EQ(update.event, event);
    EXPECT_EQ(update.action, action);
    settle(20);
  };
  using Event = ServoUpdate::Event;
  using Action = ServoUpdate::Action;
  after([&] { machine.stepNs += kNsPerSecond; }, Event::kJumpForward, Action::kAppend);
  after([&] { machine.stepNs -= kNsPerSecond; }, Event::kJumpBack, Action::kStartOver);
  after([&] { machine.Advance(5 * kNsPerSecond, false); }, Event::kJumpForward, Action::kAppend);
  // Readings late by up to 1 s each may be that far off: no jump.
  machine.stallProbability = 1;
  machine.longestStallNs = kNsPerSecond;
  EXPECT_EQ(publisher.Next().event, Event::kTracking);
  machine.stallProbability = 0;
  settle(20);

  // 100 us at 500 ppm takes 200 ms: the slew runs on through the next update.
  machine.stepNs += 100'000;
  double largestSlew = 0;
  for (int step = 0; step < 10; ++step) {
    const ServoUpdate update = publisher.Next();
    EXPECT_TRUE(update.event == Event::kTracking || update.event == Event::kSlewRunning);
    if (update.samples.size() == 2)
      largestSlew =
          std::max(largestSlew, std::abs(update.samples[0].rate / update.samples[1].rate - 1));
  }
  EXPECT_LE(largestSlew, 500e-6 * (1 + 1e-6));
  EXPECT_GT(largestSlew, 400e-6);  // the offset took the fastest slew allowed
  EXPECT_LE(std::abs(publisher.ErrorNs()), 1000);
}

// A publisher that takes over publishes the samples readers followed again and continues
// them: its first publish leaves readers' time where it was, and it waits for the counter to
// pass the holdover sample that the one before it left ahead.
TEST(ServoSimulation, ATakenOverFunctionIsContinuedWithoutAStep) {
  Machine machine{-80, 0.002, 50, 0, std::mt19937_64(7)};
  Publisher first(machine, 100);
  first.Start();
  for (int update = 0; update < 50; ++update) first.Next();
  const std::vector<CorrectionSample> earlier(first.Samples().end() - 4, first.Samples().end());
  ASSERT_GT(earlier.back().tick, machine.Tick());  // the holdover sample lies ahead

  Publisher second(machine, 100);
  const ServoUpdate update = second.Start(earlier);
  ASSERT_GE(update.samples.size(), 4u);
  EXPECT_EQ(update.samples[0].tick, earlier[0].tick);
  EXPECT_EQ(second.TimeNow(), first.TimeNow());
  for (int next = 0; next < 50 && !Failed(); ++next) second.Next();
  EXPECT_LE(std::abs(second.ErrorNs()), 1000);
}

// `tracking` reads the servo's frequency estimate (as the counter's own error, positive when
// it runs fast), the offsets it removed and its cadence back from the samples alone.
TEST(TrackingFromSamples, ReadsTheEstimateTheOffsetsAndTheIntervalBack) {
  Machine machine{150, 0, 50, 0, std::mt19937_64(9)};
  Publisher publisher(machine, 100);
  publisher.Start();
  std::vector<ServoUpdate> updates;
  for (int update = 0; update < 300; ++update) updates.push_back(publisher.Next());
  constexpr std::size_t kWindow = 100;
  const std::vector<CorrectionSample> window(publisher.Samples().end() - 2 * kWindow,
                                             publisher.Samples().end());
  const TrackingState state = Track(window, kFrequency, machine.Tick());
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
    Machine machine{0, 0, 50, 0, std::mt19937_64(11)};
    Publisher publisher(machine, intervalMs);
    publisher.Start();
    for (int update = 0; update < 10; ++update) publisher.Next();
    const CorrectionSample& latestUpdate = publisher.Samples()[publisher.Samples().size() - 2];
    const auto silence = static_cast<std::uint64_t>(silenceS * kNsPerSecond);
    return Track(publisher.Samples(), kFrequency, latestUpdate.tick + silence).stale;
  };
  EXPECT_FALSE(staleAfter(1000, 1.5));
  EXPECT_FALSE(staleAfter(1000, 3.5));
  EXPECT_TRUE(staleAfter(1000, 4.5));
  EXPECT_FALSE(staleAfter(100, 0.9));
  EXPECT_TRUE(staleAfter(100, 1.1));
}

}  // namespace
