// The second process of the cross-process tests: a host like any other, reaching the
// library loaded by file name through the public headers only.
//   hold NAME MS              create NAME, publish (100, 1000, 2.0) and (200, 1300, 0.5),
//                             hold it for MS milliseconds, exit 0
//   expect NAME TICK TIME     exit 0 if NAME maps TICK to TIME, 1 if to something else,
//                             2 if it cannot be opened, 3 if the mapping fails
//   churn NAME MS             for MS milliseconds open NAME as writer (and publish) and as
//                             reader (and evaluate) in turn; exit 1 on any failure but a
//                             store nobody holds or a function a new writer just emptied
//   publish-fast NAME MS US   discipline NAME to the system clock every US microseconds for
//                             MS milliseconds; a writer that takes over continues the time
//                             axis of the one before instead of stepping back
//   read-monotonic NAME MS    read a named clock on NAME for MS milliseconds; exit 0 if it
//                             never went back, failed only while a new writer took over, and
//                             read well at the end; 1 if it went back, 3 on other failures
#include <VolmTime/VolmTime.h>

#include "tools/common/DynamicLibrary.h"
#include "tools/common/Ref.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Wide = std::basic_string<VolmWideChar>;

Wide WideOf(const std::string& text) { return Wide(text.begin(), text.end()); }

std::string LastErrorText(IVolmUnknown* object) {
  Ref<IGetVolmError> source;
  Ref<IVolmError> error;
  Ref<IVolmWideCharString> text;
  const VolmWideChar* buffer = nullptr;
  object->QueryInterface(IID_IGetVolmError, source.OutVoid());
  source->GetError(error.Out());
  if (!error || error->GetText(text.Out()) != VOLM_S_OK || text->GetBuffer(&buffer) != VOLM_S_OK)
    return "";
  return std::string(buffer, buffer + Wide(buffer).size());
}

// The failures a reader may meet while writers come and go: a store nobody holds any more,
// a function a new writer has emptied, or a store whose first writer has not yet written its
// header (a reader that joins between the creator's mapping and its first reset; reported).
bool IsTakeoverFailure(const std::string& text) {
  return text == "Memory layout version mismatch." ||
         (text.find("is not available (") != std::string::npos &&
          text.find("a store needs") == std::string::npos) ||
         text == "Correction Function does not contain any segment." ||
         text == "Correction Function is not defined at this point.";
}

int Churn(IVolmTimeFactoryAdvanced* advanced, const Wide& name, long ms) {
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  for (unsigned round = 0; Clock::now() < until; ++round) {
    Ref<IPiecewiseLinearCorrection> function;
    std::uint64_t time = 0;
    if (round % 2 == 0) {
      if (advanced->CreateSharedMemoryCorrection(name.c_str(), function.Out()) != VOLM_S_OK ||
          function->AddSample(100, 1.0, 1000) != VOLM_S_OK || function->Publish() != VOLM_S_OK) {
        std::fprintf(stderr, "churn: writer: %s\n", LastErrorText(advanced).c_str());
        return 1;
      }
    } else if (advanced->OpenSharedMemoryCorrection(name.c_str(), function.Out()) != VOLM_S_OK) {
      if (!IsTakeoverFailure(LastErrorText(advanced))) {
        std::fprintf(stderr, "churn: open: %s\n", LastErrorText(advanced).c_str());
        return 1;
      }
    } else if (function->TickToTime(150, &time) != VOLM_S_OK
                   ? !IsTakeoverFailure(LastErrorText(function.Get()))
                   : time != 1050) {
      std::fprintf(stderr, "churn: reader: %s\n", LastErrorText(function.Get()).c_str());
      return 1;
    }
  }
  return 0;
}

int PublishFast(IVolmTimeFactory* factory, IVolmTimeFactoryAdvanced* advanced, const Wide& name,
                long ms, long us) {
  const auto until = Clock::now() + std::chrono::milliseconds(ms);
  Ref<IHighResolutionCounter> counter;
  Ref<IClock> system;
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
    // Never below where the function already stands at this tick (+1: the function's own
    // truncation may already have shown a reader one unit more), so time never steps back.
    const auto predicted =
        lastTime + static_cast<std::uint64_t>(static_cast<double>(tick - lastTick) * rate);
    if (time <= predicted) time = predicted + 1;
    if (tick > lastTick) {
      if (writer->AddSample(tick, rate, time) != VOLM_S_OK || writer->Publish() != VOLM_S_OK)
        return 3;
      lastTick = tick;
      lastTime = time;
    }
    for (next += std::chrono::microseconds(us); Clock::now() < next;) {
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
      if (IsTakeoverFailure(LastErrorText(clock.Get()))) continue;
      std::fprintf(stderr, "read-monotonic: %s\n", LastErrorText(clock.Get()).c_str());
      return 3;
    }
    if (time < last) {
      std::fprintf(stderr, "read-monotonic: back by %llu units\n",
                   static_cast<unsigned long long>(last - time));
      return 1;
    }
    last = time;
    ++readings;
  }
  return lastReadingGood && readings > 1000 ? 0 : 4;
}

int Run(IVolmTimeFactory* factory, int argc, char** argv) {
  const std::string command = argv[1];
  const Wide name = WideOf(argv[2]);
  Ref<IVolmTimeFactoryAdvanced> advanced;
  if (factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced.OutVoid()) != VOLM_S_OK)
    return 4;
  if (command == "hold" && argc == 4) {
    Ref<IPiecewiseLinearCorrection> writer;
    if (advanced->CreateSharedMemoryCorrection(name.c_str(), writer.Out()) != VOLM_S_OK) return 2;
    writer->AddSample(100, 2.0, 1000);
    writer->AddSample(200, 0.5, 1300);
    writer->Publish();
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atol(argv[3])));
    return 0;
  }
  if (command == "expect" && argc == 5) {
    Ref<IPiecewiseLinearCorrection> reader;
    if (advanced->OpenSharedMemoryCorrection(name.c_str(), reader.Out()) != VOLM_S_OK) return 2;
    std::uint64_t time = 0;
    if (reader->TickToTime(std::strtoull(argv[3], nullptr, 10), &time) != VOLM_S_OK) return 3;
    return time == std::strtoull(argv[4], nullptr, 10) ? 0 : 1;
  }
  if (command == "churn" && argc == 4) return Churn(advanced.Get(), name, std::atol(argv[3]));
  if (command == "publish-fast" && argc == 5)
    return PublishFast(factory, advanced.Get(), name, std::atol(argv[3]), std::atol(argv[4]));
  if (command == "read-monotonic" && argc == 4)
    return ReadMonotonic(factory, name, std::atol(argv[3]));
  return 64;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: volm_helper hold|expect|churn|publish-fast|read-monotonic ...\n");
    return 64;
  }
  DynamicLibrary library(VOLM_LIBRARY_FILE);
  auto createInstance = library.IsLoaded()
                            ? library.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName)
                            : nullptr;
  void* object = nullptr;
  if (createInstance == nullptr || createInstance(CLSID_VolmTimeFactory, &object) != VOLM_S_OK) {
    std::fprintf(stderr, "%s\n", library.Error().c_str());
    return 5;
  }
  Ref<IVolmTimeFactory> factory;
  static_cast<IVolmTimeFactory*>(object)->AddRef();
  *factory.Out() = static_cast<IVolmTimeFactory*>(object);
  return Run(factory.Get(), argc, argv);
}
