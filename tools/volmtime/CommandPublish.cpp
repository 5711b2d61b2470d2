// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Discipline.h"
#include "Library.h"
#include "StoreAnalysis.h"
#include "StoreMapping.h"
#include "StoreView.h"
#include "TimeFormat.h"
#include "WriterLock.h"

#include "tools/common/Process.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

namespace {

// One counter reading and one system time taken as close together as the machine allows:
// the tightest of a few tick-time-tick readings, the tick taken in the middle.
TimePair TightPair(IHighResolutionCounter* counter, IClock* system) {
  TimePair best{0, 0};
  std::uint64_t bestSpread = UINT64_MAX;
  for (int attempt = 0; attempt < 5; ++attempt) {
    std::uint64_t before = 0;
    std::uint64_t time = 0;
    std::uint64_t after = 0;
    Check(counter->GetTick(&before), counter, "reading the counter");
    Check(system->GetTime(&time), system, "reading the system clock");
    Check(counter->GetTick(&after), counter, "reading the counter");
    if (after - before < bestSpread) {
      bestSpread = after - before;
      best = {before + (after - before) / 2, time};
    }
  }
  return best;
}

// The latest segment of a function that readers of `name` follow now, if there is one.
std::optional<CorrectionSample> SegmentReadersFollow(const std::string& name) {
  try {
    const StoreMapping mapping(name);
    StoreContents contents;
    if (mapping.Size() < sizeof(VolmTime::SampleStore) ||
        !ReadStore(mapping.Address(), 1, contents) || contents.samples.empty())
      return std::nullopt;
    return contents.samples.back();
  } catch (const std::exception&) {
    return std::nullopt;  // no such store yet
  }
}

}  // namespace

int RunPublish(const ToolOptions& options) {
  const std::string& name = options.name;
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

  const auto interval = std::chrono::duration<double, std::milli>(options.intervalMs);
  const auto jumpUnits = static_cast<std::uint64_t>(options.jumpMs * 10'000.0);
  const bool statusLines = !options.quiet;
  // A terminal gets one status line rewritten in place; a file or a pipe one line per update.
  const bool inPlace = statusLines && StandardOutputIsTerminal();

  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IHighResolutionCounter> counter;
  Ref<IClock> system;
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  const double nominal = NominalRate(frequency);
  const std::optional<CorrectionSample> earlier = SegmentReadersFollow(name);
  Ref<IPiecewiseLinearCorrection> writer;
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()),
        factory, "creating the shared correction function \"" + name + "\"");

  Discipline discipline(nominal, jumpUnits);
  const auto start = std::chrono::steady_clock::now();
  Discipline::Update update = discipline.Start(TightPair(counter.Get(), system.Get()), earlier);
  Check(writer->AddSample(update.sample.tick, update.sample.rate, update.sample.time), writer.Get(),
        "AddSample");
  Check(writer->Publish(), writer.Get(), "Publish");
  if (statusLines) {
    std::printf("%s  publishing \"%s\" every %g ms (pid %u)%s\n", Timestamp().c_str(), name.c_str(),
                options.intervalMs, CurrentProcessId(),
                earlier ? ", continuing the function readers followed" : "");
    std::fflush(stdout);
  }
  std::uint64_t samples = 1;
  std::uint64_t jumps = 0;
  std::string requester;
  while (!gStopRequested.load()) {
    std::this_thread::sleep_for(interval);
    if (options.durationS > 0 && std::chrono::steady_clock::now() - start >=
                                     std::chrono::duration<double>(options.durationS))
      break;
    if (lock.TakeOverRequested(requester)) {
      if (inPlace) std::printf("\n");
      if (statusLines)
        std::printf("%s  %s takes over \"%s\"; stopping\n", Timestamp().c_str(),
                    requester.c_str(), name.c_str());
      return 0;
    }
    update = discipline.Next(TightPair(counter.Get(), system.Get()));
    if (update.action == Discipline::Action::kSkip) continue;
    if (update.action == Discipline::Action::kStartOver)
      Check(writer->Reset(), writer.Get(), "Reset");
    if (update.jump) ++jumps;
    Check(writer->AddSample(update.sample.tick, update.sample.rate, update.sample.time),
          writer.Get(), "AddSample");
    Check(writer->Publish(), writer.Get(), "Publish");
    ++samples;
    if (statusLines) {
      std::printf("%s%s  samples %llu  rate %+10.4f ppm  offset %s  jumps %llu%s",
                  inPlace ? "\r" : "", Timestamp().c_str(),
                  static_cast<unsigned long long>(samples), RatePpm(update.sample.rate, nominal),
                  FormatOffsetUs(update.offset).c_str(), static_cast<unsigned long long>(jumps),
                  inPlace ? "   " : "\n");
      std::fflush(stdout);
    }
  }
  if (inPlace) std::printf("\n");
  return 0;
}
