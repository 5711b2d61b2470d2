#include "Commands.h"
#include "Library.h"
#include "TimeFormat.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

namespace {

// One counter reading and one system time taken as close together as the machine allows:
// the tightest of a few tick-time-tick readings, the tick taken in the middle.
struct Pair {
  std::uint64_t tick;
  std::uint64_t time;
};

Pair TightPair(IHighResolutionCounter* counter, IClock* system) {
  Pair best{0, 0};
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

}  // namespace

double NominalRate(std::uint64_t frequency) {
  return 10'000'000.0 / static_cast<double>(frequency);
}

int RunPublish(const Arguments& arguments) {
  arguments.Allow({"--interval-ms", "--duration-s", "--jump-ms", "--quiet"});
  if (arguments.Positional().size() != 1) throw UsageError("publish needs exactly one NAME");
  const std::string name = arguments.Positional()[0];
  const auto interval = std::chrono::milliseconds(
      static_cast<long>(arguments.Number("--interval-ms", 100, 1, 3'600'000)));
  const double duration = arguments.Number("--duration-s", 0, 0, 1e9);
  // A change of the offset beyond this between two samples is a jump, not drift.
  const double jumpUnits = arguments.Number("--jump-ms", 50, 0.1, 1e7) * 10'000.0;
  const bool quiet = arguments.Has("--quiet");

  Library library;
  IVolmTimeFactory* factory = library.Factory();
  Ref<IHighResolutionCounter> counter;
  Ref<IClock> system;
  Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
  Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
  std::uint64_t frequency = 0;
  Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
  const double nominal = NominalRate(frequency);
  Ref<IPiecewiseLinearCorrection> writer;
  Check(library.Advanced()->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()),
        factory, "creating the shared correction function " + name);

  const auto start = std::chrono::steady_clock::now();
  Pair previous = TightPair(counter.Get(), system.Get());
  double rate = nominal;
  Check(writer->AddSample(previous.tick, rate, previous.time), writer.Get(), "AddSample");
  Check(writer->Publish(), writer.Get(), "Publish");
  std::uint64_t samples = 1;
  std::uint64_t jumps = 0;
  double lastCorrection = 0;
  while (!gStopRequested.load()) {
    std::this_thread::sleep_for(interval);
    if (duration > 0 &&
        std::chrono::steady_clock::now() - start >= std::chrono::duration<double>(duration))
      break;
    const Pair now = TightPair(counter.Get(), system.Get());
    const double elapsedTicks = static_cast<double>(now.tick - previous.tick);
    // As the function itself computes it: times are too large for a double to hold exactly.
    const std::uint64_t predicted = previous.time + static_cast<std::uint64_t>(elapsedTicks * rate);
    lastCorrection = static_cast<double>(static_cast<std::int64_t>(now.time - predicted));
    if (now.time <= previous.time) {
      // The system clock stepped back: time on the shared axis cannot go back with it, so the
      // function starts over from here.
      Check(writer->Reset(), writer.Get(), "Reset");
      rate = nominal;
      ++jumps;
    } else if (std::fabs(lastCorrection) > jumpUnits) {
      // A suspended machine or a stepped clock: a new segment starts at the jump with the
      // rate measured before it, instead of bending that rate.
      ++jumps;
    } else {
      rate = static_cast<double>(now.time - previous.time) / elapsedTicks;
    }
    // Within the jump limit the new segment starts no lower than the old one ends, so time on
    // the shared axis never goes back; the measured rate brings it to the system time.
    std::uint64_t anchor = now.time;
    // (+1: the function's truncation may already have shown a reader one unit more.)
    if (lastCorrection <= 0 && std::fabs(lastCorrection) <= jumpUnits) anchor = predicted + 1;
    if (now.tick <= previous.tick || anchor <= previous.time) continue;
    Check(writer->AddSample(now.tick, rate, anchor), writer.Get(), "AddSample");
    Check(writer->Publish(), writer.Get(), "Publish");
    ++samples;
    previous = {now.tick, anchor};
    if (!quiet) {
      std::printf("\rsamples %llu  rate %+9.3f ppm  last correction %s  jumps %llu   ",
                  static_cast<unsigned long long>(samples), (rate / nominal - 1.0) * 1e6,
                  FormatOffsetMs(static_cast<std::int64_t>(lastCorrection)).c_str(),
                  static_cast<unsigned long long>(jumps));
      std::fflush(stdout);
    }
  }
  if (!quiet) std::printf("\n");
  return 0;
}
