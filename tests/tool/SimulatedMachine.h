// SPDX-License-Identifier: MIT
// A machine whose counter and reference are known exactly, for driving the publisher's servo
// in simulation: the counter runs off its nominal frequency by a fixed offset plus a random
// walk, the reference is true time plus white read noise and any steps, readings are taken
// the way the publisher takes them, and the servo's samples go into the library's own
// piecewise-linear function, so that readers evaluate them exactly as they would in a store.
#ifndef TESTS_TOOL_SIMULATEDMACHINE_H
#define TESTS_TOOL_SIMULATEDMACHINE_H

#include "Servo.h"
#include "VolmTime/Core/PiecewiseLinearCorrectionFunctionLocal.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <vector>

class SimulatedMachine {
 public:
  static constexpr std::uint64_t kFrequency = 1'000'000'000;
  // Late 2026, in ns since 1601.
  static constexpr std::uint64_t kReferenceStartNs = 13'409'000'000'000'000'000ull;

  struct Conditions {
    double frequencyOffsetPpm = 0;
    double wanderPpmPerRootSecond = 0.002;  // a random walk of the counter's frequency
    double noiseNs = 50;                    // white noise of each reference reading
    double stallProbability = 0;            // an update whose every reading comes late
    std::uint64_t seed = 1;
  };

  explicit SimulatedMachine(const Conditions& conditions)
      : conditions_(conditions), random_(conditions.seed) {}

  // True time passes; the counter runs unless the machine is suspended.
  void Advance(double ns) {
    wanderPpm_ += Normal(conditions_.wanderPpmPerRootSecond * std::sqrt(ns * 1e-9));
    if (!suspended_)
      ticks_ += ns * (1 + (conditions_.frequencyOffsetPpm + wanderPpm_) * 1e-6) *
                static_cast<double>(kFrequency) / 1e9;
    elapsedNs_ += ns;
  }
  void Suspend(double ns) {
    suspended_ = true;
    Advance(ns);
    suspended_ = false;
  }
  void StepReference(double ns) { stepNs_ += ns; }

  [[nodiscard]] std::uint64_t Tick() const {
    return kTickStart + static_cast<std::uint64_t>(ticks_);
  }
  // The reference's true value now, in ns after kReferenceStartNs.
  [[nodiscard]] double TruthNs() const { return elapsedNs_ + stepNs_; }

  // Eight readings of the reference between two counter readings, as the publisher takes
  // them: tens of ns apart, and all of them late when the thread lost the processor.
  std::array<Reading, 8> Readings() {
    std::uniform_real_distribution<double> quick(10, 40);
    std::uniform_real_distribution<double> stall(20'000, 200'000);
    const bool stalled = Uniform() < conditions_.stallProbability;
    std::array<Reading, 8> readings;
    for (Reading& reading : readings) {
      reading.tickBefore = Tick();
      Advance(quick(random_) + (stalled && Uniform() < 0.5 ? stall(random_) : 0));
      const double read = TruthNs() + Normal(conditions_.noiseNs);
      reading.referenceNs = kReferenceStartNs + static_cast<std::uint64_t>(std::llround(read));
      Advance(quick(random_) + (stalled ? stall(random_) : 0));
      reading.tickAfter = Tick();
      Advance(30);
    }
    return readings;
  }

  double Uniform() { return std::uniform_real_distribution<double>(0, 1)(random_); }

 private:
  static constexpr std::uint64_t kTickStart = 5'000'000'000'000;

  double Normal(double deviation) {
    return deviation > 0 ? std::normal_distribution<double>(0, deviation)(random_) : 0;
  }

  Conditions conditions_;
  std::mt19937_64 random_;
  double ticks_ = 0;
  double elapsedNs_ = 0;
  double stepNs_ = 0;
  double wanderPpm_ = 0;
  bool suspended_ = false;
};

// The publisher's loop in simulation: updates on a cadence, the servo's samples published into
// the library's function, readers between the updates. It checks what readers must never
// see on every update: time that goes back, a step at a join, and a join the counter had
// already reached when it was published.
class SimulatedPublisher {
 public:
  using Function = VolmTime::Core::PiecewiseLinearCorrectionFunctionLocal<std::uint64_t, std::uint64_t>;

  SimulatedPublisher(SimulatedMachine& machine, double intervalMs, double maxSlewPpm = 500,
                     double jumpMs = 50)
      : machine_(machine),
        intervalMs_(intervalMs),
        servo_(ServoSettings::For(SimulatedMachine::kFrequency, intervalMs, maxSlewPpm, jumpMs)) {}

  // The first update, continuing `earlier` where given.
  ServoUpdate Start(const std::vector<CorrectionSample>& earlier = {}) {
    const ServoUpdate update = servo_.Start(machine_.Readings(), earlier);
    Apply(update);
    return update;
  }

  // One update after an interval, with readers looking at the function meanwhile; their
  // errors against the reference go into `errorsNs` when given.
  ServoUpdate Next(std::vector<double>* errorsNs = nullptr) {
    Read(intervalMs_ * 1e6 * (1 + 0.05 * machine_.Uniform()), errorsNs);
    const ServoUpdate update = servo_.Update(machine_.Readings());
    Apply(update);
    return update;
  }

  // Readers only, for `ns` of true time: nobody publishes.
  void Read(double ns, std::vector<double>* errorsNs = nullptr) {
    constexpr int kReadings = 20;
    for (int i = 0; i < kReadings; ++i) {
      machine_.Advance(ns / kReadings);
      const std::uint64_t time = function_->TickToTime(machine_.Tick());
      ASSERT_GE(time, lastRead_) << "readers' time went back";
      lastRead_ = time;
      if (errorsNs != nullptr) errorsNs->push_back(ErrorNs());
    }
  }

  // The function as readers evaluate it now, minus the reference's true value.
  double ErrorNs() const {
    const std::uint64_t time = function_->TickToTime(machine_.Tick());
    return static_cast<double>(
               static_cast<std::int64_t>(time * 100 - SimulatedMachine::kReferenceStartNs)) -
           machine_.TruthNs();
  }

  // What readers read now.
  [[nodiscard]] std::uint64_t TimeNow() const { return function_->TickToTime(machine_.Tick()); }
  [[nodiscard]] const std::vector<CorrectionSample>& Samples() const { return samples_; }
  [[nodiscard]] std::size_t Updates() const { return updates_; }

 private:
  void Apply(const ServoUpdate& update) {
    if (update.action == ServoUpdate::Action::kNothing) return;
    const std::uint64_t now = machine_.Tick();
    std::optional<std::uint64_t> before;
    if (!samples_.empty() && update.action != ServoUpdate::Action::kStartOver)
      before = function_->TickToTime(now);
    ASSERT_TRUE(update.joinTick == 0 || update.joinTick > now)
        << "the new segment starts at a tick readers may already have read";
    if (update.action == ServoUpdate::Action::kStartOver) {
      function_->Reset();
      samples_.clear();
      lastRead_ = 0;
    }
    for (const CorrectionSample& sample : update.samples) {
      // Readers' time takes no step where a sample joins the one before, except at a jump.
      if (!samples_.empty() && update.event != ServoUpdate::Event::kJumpForward) {
        const auto step = static_cast<std::int64_t>(sample.time - TimeOnSegment(samples_.back(), sample.tick));
        ASSERT_LE(std::abs(step), 1) << "a step of " << step << " units at tick " << sample.tick;
      }
      function_->AddSample(sample);
      samples_.push_back(sample);
    }
    function_->Publish();
    ++updates_;
    // A reader that read just before the Publish reads the same time now.
    if (before) {
      ASSERT_EQ(function_->TickToTime(now), *before);
    }
  }

  SimulatedMachine& machine_;
  double intervalMs_;
  Servo servo_;
  std::unique_ptr<Function> function_ = std::make_unique<Function>();
  std::vector<CorrectionSample> samples_;
  std::uint64_t lastRead_ = 0;
  std::size_t updates_ = 0;
};

#endif  // TESTS_TOOL_SIMULATEDMACHINE_H
