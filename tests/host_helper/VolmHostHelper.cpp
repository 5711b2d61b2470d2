// SPDX-License-Identifier: MIT
// A second host process for the soak test. It reaches the library only as a host does:
// loaded by file name, public headers only.
//   publish-fast NAME MS US   publish a sample on NAME every US microseconds for MS
//                             milliseconds, all on one line, which a writer that takes over
//                             continues
//   read-monotonic NAME MS    read a named clock on NAME for MS milliseconds; exit 0 if it
//                             never went back, failed only while a new writer took over, and
//                             read well at the end; 1 if it went back, 3 on other failures
#include "tests/host/HostFixture.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

// Every sample lies on time = tick / 128 at a tick that is a multiple of 128, so that every
// segment, and every evaluation of it, gives exactly that quotient: any reading that goes back
// was answered from samples that were never published together.
int PublishFast(IVolmTimeFactory* factory, const Wide& name, long ms, long us) {
  constexpr std::uint64_t kTicksPerUnit = 128;
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  Ref<IVolmTimeFactoryAdvanced> advanced;
  Ref<IHighResolutionCounter> counter;
  factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced.OutVoid());
  factory->GetCounter(counter.Out());
  Ref<IPiecewiseLinearCorrection> writer;
  if (advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Out()) != VOLM_S_OK) return 2;
  std::uint64_t lastTick = 0;
  for (auto next = Clock::now(); Clock::now() < until;) {
    std::uint64_t tick = 0;
    counter->GetTick(&tick);
    tick -= tick % kTicksPerUnit;
    if (tick > lastTick) {
      if (writer->AddSample(tick, 1.0 / kTicksPerUnit, tick / kTicksPerUnit) != VOLM_S_OK ||
          writer->Publish() != VOLM_S_OK) {
        return 3;
      }
      lastTick = tick;
    }
    next += std::chrono::microseconds(us);
    while (Clock::now() < next) {
    }
  }
  return 0;
}

int ReadMonotonic(IVolmTimeFactory* factory, const Wide& name, long ms) {
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  Ref<IClock> clock;
  if (factory->CreateSynchronizedClock(name.c_str(), clock.Out()) != VOLM_S_OK) return 2;
  std::uint64_t last = 0;
  std::uint64_t readings = 0;
  bool lastReadingGood = false;
  while (Clock::now() < until) {
    std::uint64_t time = 0;
    lastReadingGood = clock->GetTime(&time) == VOLM_S_OK;
    if (!lastReadingGood) {
      // A new writer empties the function and starts it at a tick it read just before; a
      // reader that read its tick earlier still finds no segment there.
      const std::string text = LastErrorText(clock.Get());
      if (text != "Correction Function does not contain any segment." &&
          text != "Correction Function is not defined at this point.") {
        std::fprintf(stderr, "read-monotonic: %s\n", text.c_str());
        return 3;
      }
      continue;
    }
    if (time < last) {
      std::fprintf(stderr, "read-monotonic: time went back by %llu units\n",
                   static_cast<unsigned long long>(last - time));
      return 1;
    }
    last = time;
    ++readings;
  }
  return lastReadingGood && readings > 1000 ? 0 : 4;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc == 4 || argc == 5 ? argv[1] : "";
  const HostTimeBase timeBase(VOLM_LIBRARY_FILE);
  if (!timeBase.IsReady()) {
    std::fprintf(stderr, "%s\n", timeBase.Error().c_str());
    return 5;
  }
  if (command == "publish-fast" && argc == 5)
    return PublishFast(timeBase.Factory(), WideOf(argv[2]), std::atol(argv[3]), std::atol(argv[4]));
  if (command == "read-monotonic" && argc == 4)
    return ReadMonotonic(timeBase.Factory(), WideOf(argv[2]), std::atol(argv[3]));
  std::fprintf(stderr,
               "usage: volm_host_helper publish-fast NAME MS US | read-monotonic NAME MS\n");
  return 64;
}
