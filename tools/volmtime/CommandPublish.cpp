// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Library.h"
#include "ReferenceClock.h"
#include "Servo.h"
#include "StoreAnalysis.h"
#include "StoreMapping.h"
#include "StoreView.h"
#include "TimeFormat.h"
#include "UpdateSchedule.h"
#include "WriterLock.h"

#include "tools/common/Process.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::size_t kReadingsPerUpdate = 8;
// The last samples of a function that readers follow, which a publisher that takes over
// publishes again: the last two updates', so that they hold the tick the counter is at.
constexpr std::size_t kSamplesContinued = 4;
// The longest the publisher sleeps before it looks for Ctrl-C or SIGTERM again.
constexpr double kWaitSliceSeconds = 0.05;

// The reference read between two readings of the library's counter, several times: the
// servo takes the narrowest.
std::array<Reading, kReadingsPerUpdate> TakeReadings(IHighResolutionCounter* counter,
                                                     ReferenceClock& reference) {
  std::array<Reading, kReadingsPerUpdate> readings;
  for (Reading& reading : readings) {
    Check(counter->GetTick(&reading.tickBefore), counter, "reading the counter");
    reading.referenceNs = reference.ReadNs();
    Check(counter->GetTick(&reading.tickAfter), counter, "reading the counter");
  }
  return readings;
}

// The last samples of a function that readers of `name` follow now, if there is one.
std::vector<CorrectionSample> SamplesReadersFollow(const std::string& name) {
  try {
    const StoreMapping mapping(name);
    StoreContents contents;
    if (mapping.Size() < sizeof(VolmTime::SampleStore) ||
        !ReadStore(mapping.Address(), kSamplesContinued, contents))
      return {};
    return contents.samples;
  } catch (const std::exception&) {
    return {};  // no such store yet
  }
}

// Sleeps until the counter reaches `deadline`, in slices, so that Ctrl-C and SIGTERM end the
// wait soon. False when a stop was requested.
bool WaitUntil(IHighResolutionCounter* counter, std::uint64_t deadline, std::uint64_t slice) {
  for (;;) {
    if (gStopRequested.load()) return false;
    std::uint64_t now = 0;
    Check(counter->GetTick(&now), counter, "reading the counter");
    if (now >= deadline) return true;
    Check(counter->SleepTick(std::min(deadline - now, slice)), counter, "waiting for an update");
  }
}

// Resets the function first if the update starts over, appends the update's samples and
// publishes them. True when the counter had already reached the first new sample when the
// samples became visible, so that a reader may have read the time there before they did.
bool Apply(IPiecewiseLinearCorrection* writer, IHighResolutionCounter* counter,
           const ServoUpdate& update) {
  if (update.action == ServoUpdate::Action::kStartOver) Check(writer->Reset(), writer, "Reset");
  for (const CorrectionSample& sample : update.samples)
    Check(writer->AddSample(sample.tick, sample.rate, sample.time), writer, "AddSample");
  Check(writer->Publish(), writer, "Publish");
  std::uint64_t now = 0;
  Check(counter->GetTick(&now), counter, "reading the counter");
  return update.joinTick != 0 && now >= update.joinTick;
}

}  // namespace

int RunPublish(const ToolOptions& options) {
  if (options.reportDiscipline) return RunPublishReport(options);
  const std::string& name = options.name;
  // Opened first: a reference that cannot be read costs no lock and no store.
  const std::unique_ptr<ReferenceClock> reference = OpenReferenceClock(options.reference);
  WriterLock lock(name);
  if (!lock.TryTake()) {
    const std::string holder = lock.Holder();
    if (!options.takeOver) {
      throw CommandError("\"" + name + "\" is being published by " + holder +
                         "; stop that publisher first, or take its place with --take-over");
    }
    std::printf("%s  asking the publisher of \"%s\" (%s) to stop\n", Timestamp().c_str(),
                name.c_str(), holder.c_str());
    std::fflush(stdout);
    if (!lock.TakeOver(std::chrono::seconds(10), gStopRequested)) {
      if (gStopRequested.load()) return 0;
      throw CommandError("the publisher of \"" + name + "\" (" + holder +
                         ") did not stop within 10 s");
    }
  }

  const bool statusLines = !options.quiet;
  // A terminal gets one status line rewritten in place; a file or a pipe one line per update.
  const bool inPlace = statusLines && StandardOutputIsTerminal();

  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IHighResolutionCounter> counter;
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  const ServoSettings settings =
      ServoSettings::For(frequency, options.intervalMs, options.maxSlewPpm, options.jumpMs);
  const auto slice = static_cast<std::uint64_t>(kWaitSliceSeconds * static_cast<double>(frequency));
  const std::vector<CorrectionSample> earlier = SamplesReadersFollow(name);
  Ref<IPiecewiseLinearCorrection> writer;
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()),
        factory, "creating the shared correction function \"" + name + "\"");

  Servo servo(settings);
  const std::array<Reading, kReadingsPerUpdate> first = TakeReadings(counter.Get(), *reference);
  ServoUpdate update = servo.Start(first, earlier);
  std::uint64_t late = Apply(writer.Get(), counter.Get(), update) ? 1 : 0;
  if (statusLines) {
    std::printf("%s  publishing \"%s\" every %g ms against %s (pid %u)%s\n", Timestamp().c_str(),
                name.c_str(), options.intervalMs, reference->Name().c_str(), CurrentProcessId(),
                update.continuedSamples > 0 ? ", continuing the function readers followed" : "");
    std::fflush(stdout);
  }
  const std::uint64_t startTick = first.back().tickAfter;
  const auto endTick =
      startTick + static_cast<std::uint64_t>(options.durationS * static_cast<double>(frequency));
  UpdateSchedule schedule(startTick, settings.intervalTicks);
  std::uint64_t updates = 1;
  std::uint64_t jumps = 0;
  std::string requester;
  for (std::uint64_t now = startTick;;) {
    const std::uint64_t deadline = schedule.Next(now);
    if (options.durationS > 0 && deadline > endTick) break;
    if (!WaitUntil(counter.Get(), deadline, slice)) break;
    if (lock.TakeOverRequested(requester)) {
      if (inPlace) std::printf("\n");
      if (statusLines)
        std::printf("%s  %s takes over \"%s\"; stopping\n", Timestamp().c_str(), requester.c_str(),
                    name.c_str());
      return 0;
    }
    const std::array<Reading, kReadingsPerUpdate> readings =
        TakeReadings(counter.Get(), *reference);
    now = readings.back().tickAfter;
    update = servo.Update(readings);
    if (update.event == ServoUpdate::Event::kJumpBack ||
        update.event == ServoUpdate::Event::kJumpForward)
      ++jumps;
    if (update.action == ServoUpdate::Action::kNothing) continue;
    if (Apply(writer.Get(), counter.Get(), update)) ++late;
    ++updates;
    if (statusLines) {
      std::printf(
          "%s%s  updates %llu  offset %+9.1f ns  frequency %.4f ppm %s  skew %.4f ppm  "
          "jumps %llu  late %llu  missed %llu%s",
          inPlace ? "\r" : "", Timestamp().c_str(), static_cast<unsigned long long>(updates),
          update.offsetNs, std::abs(update.frequencyPpm), update.frequencyPpm < 0 ? "slow" : "fast",
          update.skewPpm, static_cast<unsigned long long>(jumps),
          static_cast<unsigned long long>(late),
          static_cast<unsigned long long>(schedule.Skipped()), inPlace ? "   " : "\n");
      std::fflush(stdout);
    }
  }
  if (inPlace) std::printf("\n");
  if (late > 0)
    std::fprintf(stderr,
                 "%s  %llu of %llu updates became visible after the counter had passed "
                 "their first new sample\n",
                 Timestamp().c_str(), static_cast<unsigned long long>(late),
                 static_cast<unsigned long long>(updates));
  return 0;
}
