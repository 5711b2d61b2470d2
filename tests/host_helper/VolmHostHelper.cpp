// A second host process for the cross-process tests. It reaches the library only as a host
// does: loaded by file name, public headers only.
//   write NAME HOLD_MS        create NAME, publish (100, 1000, 2.0) and (200, 1300, 0.5),
//                             hold it for HOLD_MS, exit 0
//   reset NAME HOLD_MS        create or take over NAME, publish nothing, hold it
//   expect NAME TICK TIME     exit 0 if NAME maps TICK to TIME, 1 if to something else,
//                             2 if it cannot be opened, 3 if the mapping fails
//   clock NAME                exit 0 if a named clock on NAME tells a time, 2 if it cannot
//                             be made, 3 if it cannot tell the time
//   publish-fast NAME MS US   discipline NAME to the system clock every US microseconds for
//                             MS milliseconds; a writer that takes over continues the time
//                             axis of the one before instead of stepping back
//   read-monotonic NAME MS    read a named clock on NAME for MS milliseconds; exit 0 if it
//                             never went back, failed only while a new writer took over, and
//                             read well at the end; 1 if it went back, 3 on other failures
#include <VolmTime/VolmTime.h>

#include "tools/common/HostTimeBase.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

std::basic_string<VolmWideChar> Wide(const std::string& text) {
  return std::basic_string<VolmWideChar>(text.begin(), text.end());
}

template <typename T>
struct Releaser {
  T* pointer = nullptr;
  ~Releaser() {
    if (pointer != nullptr) pointer->Release();
  }
};

using Clock = std::chrono::steady_clock;

int PublishFast(IVolmTimeFactory* factory, IVolmTimeFactoryAdvanced* advanced,
                const std::basic_string<VolmWideChar>& name, char** argv) {
  const auto until = Clock::now() + std::chrono::milliseconds(std::atol(argv[3]));
  const auto interval = std::chrono::microseconds(std::atol(argv[4]));
  Releaser<IHighResolutionCounter> counter;
  Releaser<IClock> system;
  factory->GetCounter(&counter.pointer);
  factory->GetSystemClock(&system.pointer);
  std::uint64_t frequency = 0;
  counter.pointer->GetFrequency(&frequency);
  const double rate = 10'000'000.0 / static_cast<double>(frequency);
  // The first sample is taken before the store is taken over, and lies where the previous
  // writer's function stands at the same tick, or later: readers that read the old
  // function up to the takeover never see the new one behind it. (The new function does
  // the same as the old one's latest segment from there, at the same rate.)
  std::uint64_t firstTick = 0;
  std::uint64_t firstTime = 0;
  counter.pointer->GetTick(&firstTick);
  system.pointer->GetTime(&firstTime);
  {
    Releaser<IPiecewiseLinearCorrection> previous;
    std::uint64_t previousTime = 0;
    if (advanced->OpenSharedMemoryCorrection(name.c_str(), &previous.pointer) == VOLM_S_OK &&
        previous.pointer->TickToTime(firstTick, &previousTime) == VOLM_S_OK &&
        previousTime >= firstTime) {
      firstTime = previousTime + 1;
    }
  }
  Releaser<IPiecewiseLinearCorrection> writer;
  if (advanced->CreateSharedMemoryCorrection(name.c_str(), &writer.pointer) != VOLM_S_OK) return 2;
  if (writer.pointer->AddSample(firstTick, rate, firstTime) != VOLM_S_OK ||
      writer.pointer->Publish() != VOLM_S_OK)
    return 3;
  std::uint64_t lastTick = firstTick;
  std::uint64_t lastTime = firstTime;
  auto next = Clock::now();
  while (Clock::now() < until) {
    std::uint64_t tick = 0;
    std::uint64_t time = 0;
    counter.pointer->GetTick(&tick);
    system.pointer->GetTime(&time);
    // Never below where the function already stands at this tick: readers' time must not
    // step back where one segment gives way to the next.
    const auto predicted =
        lastTime + static_cast<std::uint64_t>(static_cast<double>(tick - lastTick) * rate);
    // +1: the function's own truncation may already have shown a reader one unit more.
    if (time <= predicted) time = predicted + 1;
    if (tick > lastTick && time > lastTime) {
      if (writer.pointer->AddSample(tick, rate, time) != VOLM_S_OK ||
          writer.pointer->Publish() != VOLM_S_OK)
        return 3;
      lastTick = tick;
      lastTime = time;
    }
    next += interval;
    while (Clock::now() < next) {
    }
  }
  return 0;
}

int ReadMonotonic(IVolmTimeFactory* factory, const std::basic_string<VolmWideChar>& name, long ms) {
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  Releaser<IClock> clock;
  if (factory->CreateSynchronizedClock(name.c_str(), &clock.pointer) != VOLM_S_OK) return 2;
  std::uint64_t last = 0;
  std::uint64_t readings = 0;
  std::uint64_t emptyReadings = 0;
  bool lastReadingGood = false;
  while (Clock::now() < until) {
    std::uint64_t time = 0;
    if (clock.pointer->GetTime(&time) != VOLM_S_OK) {
      // Only a writer starting over empties the function for a moment.
      Releaser<IGetVolmError> errors;
      Releaser<IVolmError> error;
      Releaser<IVolmWideCharString> text;
      clock.pointer->QueryInterface(IID_IGetVolmError, reinterpret_cast<void**>(&errors.pointer));
      errors.pointer->GetError(&error.pointer);
      error.pointer->GetText(&text.pointer);
      const VolmWideChar* buffer = nullptr;
      text.pointer->GetBuffer(&buffer);
      const auto message = std::basic_string<VolmWideChar>(buffer);
      // A new writer empties the function and starts it at a tick it read just before; a
      // reader that read its tick earlier still finds no segment there.
      if (message != Wide("Correction Function does not contain any segment.") &&
          message != Wide("Correction Function is not defined at this point.")) {
        std::fprintf(stderr, "read-monotonic: unexpected failure after %llu readings\n",
                     static_cast<unsigned long long>(readings));
        return 3;
      }
      ++emptyReadings;
      lastReadingGood = false;
      continue;
    }
    if (time < last) {
      std::fprintf(stderr, "read-monotonic: time went back by %llu units\n",
                   static_cast<unsigned long long>(last - time));
      return 1;
    }
    last = time;
    ++readings;
    lastReadingGood = true;
  }
  std::fprintf(stderr, "read-monotonic: %llu readings, %llu while the function was empty\n",
               static_cast<unsigned long long>(readings),
               static_cast<unsigned long long>(emptyReadings));
  return lastReadingGood && readings > 1000 ? 0 : 4;
}

int Run(IVolmTimeFactory* factory, int argc, char** argv) {
  const std::string command = argv[1];
  const auto name = Wide(argv[2]);
  Releaser<IVolmTimeFactoryAdvanced> advanced;
  if (factory->QueryInterface(IID_IVolmTimeFactoryAdvanced,
                              reinterpret_cast<void**>(&advanced.pointer)) != VOLM_S_OK) {
    return 4;
  }
  if ((command == "write" || command == "reset") && argc == 4) {
    Releaser<IPiecewiseLinearCorrection> writer;
    if (advanced.pointer->CreateSharedMemoryCorrection(name.c_str(), &writer.pointer) != VOLM_S_OK)
      return 2;
    if (command == "write") {
      writer.pointer->AddSample(100, 2.0, 1000);
      writer.pointer->AddSample(200, 0.5, 1300);
      writer.pointer->Publish();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atol(argv[3])));
    return 0;
  }
  if (command == "expect" && argc == 5) {
    Releaser<IPiecewiseLinearCorrection> reader;
    if (advanced.pointer->OpenSharedMemoryCorrection(name.c_str(), &reader.pointer) != VOLM_S_OK)
      return 2;
    std::uint64_t time = 0;
    if (reader.pointer->TickToTime(std::strtoull(argv[3], nullptr, 10), &time) != VOLM_S_OK)
      return 3;
    return time == std::strtoull(argv[4], nullptr, 10) ? 0 : 1;
  }
  if (command == "clock" && argc == 3) {
    Releaser<IClock> clock;
    if (factory->CreateSynchronizedClock(name.c_str(), &clock.pointer) != VOLM_S_OK) return 2;
    std::uint64_t time = 0;
    return clock.pointer->GetTime(&time) == VOLM_S_OK ? 0 : 3;
  }
  if (command == "publish-fast" && argc == 5)
    return PublishFast(factory, advanced.pointer, name, argv);
  if (command == "read-monotonic" && argc == 4)
    return ReadMonotonic(factory, name, std::atol(argv[3]));
  return 64;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: volm_host_helper write|reset|expect|clock NAME ...\n");
    return 64;
  }
  const HostTimeBase timeBase(VOLM_LIBRARY_FILE);
  if (!timeBase.IsReady()) {
    std::fprintf(stderr, "%s\n", timeBase.Error().c_str());
    return 5;
  }
  return Run(timeBase.Factory(), argc, argv);
}
