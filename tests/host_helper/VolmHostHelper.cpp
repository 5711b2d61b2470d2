// A second host process for the soak test. It reaches the library only as a host does:
// loaded by file name, public headers only.
//   publish-fast NAME MS US   discipline NAME to the system clock every US microseconds for
//                             MS milliseconds; a writer that takes over continues the time
//                             axis of the one before instead of stepping back
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

int PublishFast(IVolmTimeFactory* factory, const Wide& name, long ms, long us) {
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  Ref<IVolmTimeFactoryAdvanced> advanced;
  Ref<IHighResolutionCounter> counter;
  Ref<IClock> system;
  factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced.OutVoid());
  factory->GetCounter(counter.Out());
  factory->GetSystemClock(system.Out());
  std::uint64_t frequency = 0;
  counter->GetFrequency(&frequency);
  const double rate = 10'000'000.0 / static_cast<double>(frequency);
  // The first sample is taken before the store is taken over, and lies where the previous
  // writer's function stands at the same tick, or later: readers that read the old
  // function up to the takeover never see the new one behind it.
  std::uint64_t lastTick = 0;
  std::uint64_t lastTime = 0;
  counter->GetTick(&lastTick);
  system->GetTime(&lastTime);
  {
    Ref<IPiecewiseLinearCorrection> previous;
    std::uint64_t previousTime = 0;
    if (advanced->OpenSharedMemoryCorrection(name.c_str(), previous.Out()) == VOLM_S_OK &&
        previous->TickToTime(lastTick, &previousTime) == VOLM_S_OK && previousTime >= lastTime) {
      lastTime = previousTime + 1;
    }
  }
  Ref<IPiecewiseLinearCorrection> writer;
  if (advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Out()) != VOLM_S_OK) return 2;
  if (writer->AddSample(lastTick, rate, lastTime) != VOLM_S_OK || writer->Publish() != VOLM_S_OK)
    return 3;
  for (auto next = Clock::now(); Clock::now() < until;) {
    std::uint64_t tick = 0;
    std::uint64_t time = 0;
    counter->GetTick(&tick);
    system->GetTime(&time);
    // Never below where the function already stands at this tick (+1: its own truncation
    // may already have shown a reader one unit more).
    const auto predicted =
        lastTime + static_cast<std::uint64_t>(static_cast<double>(tick - lastTick) * rate);
    if (time <= predicted) time = predicted + 1;
    if (tick > lastTick) {
      if (writer->AddSample(tick, rate, time) != VOLM_S_OK || writer->Publish() != VOLM_S_OK)
        return 3;
      lastTick = tick;
      lastTime = time;
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
  std::fprintf(stderr, "usage: volm_host_helper publish-fast NAME MS US | read-monotonic NAME MS\n");
  return 64;
}
