// SPDX-License-Identifier: MIT
// Reads a named clock: the time that one writer publishes in named shared memory and that
// every process reading the name shares.
//   read_named_clock NAME   reads the clock a writer publishes as NAME (volmtime publish NAME)
//   read_named_clock        publishes a function of its own under a fresh name and reads that
#include "LoadVolmTime.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <random>
#include <string>

namespace {

std::basic_string<VolmWideChar> Widen(const std::string& text) {
  return {text.begin(), text.end()};
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const LoadedVolmTime volm;
    IVolmTimeFactory* factory = volm.Factory();

    Held<IClock> system;
    Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");

    std::string name;
    Held<IPiecewiseLinearCorrection> writer;
    if (argc > 1) {
      name = argv[1];
    } else {
      // Be the writer: one sample that maps the counter onto the system clock at its nominal
      // rate. A real writer adds a sample now and then and publishes each.
      name = "volmtime-example-" + std::to_string(std::random_device{}());
      Held<IVolmTimeFactoryAdvanced> advanced;
      Check(factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, advanced.OutVoid()), factory,
            "asking for the advanced factory");
      Check(advanced->CreateSharedMemoryCorrection(Widen(name).c_str(), writer.Out()),
            advanced.Get(), "creating the shared correction function");
      Held<IHighResolutionCounter> counter;
      Check(factory->GetCounter(counter.Out()), factory, "GetCounter");
      std::uint64_t frequency = 0;
      std::uint64_t tick = 0;
      std::uint64_t time = 0;
      Check(counter->GetFrequency(&frequency), counter.Get(), "GetFrequency");
      Check(counter->GetTick(&tick), counter.Get(), "GetTick");
      Check(system->GetTime(&time), system.Get(), "reading the system clock");
      Check(writer->AddSample(tick, static_cast<double>(VOLM_TIME_UNITS_PER_SECOND) / static_cast<double>(frequency), time),
            writer.Get(), "AddSample");
      Check(writer->Publish(), writer.Get(), "Publish");
    }

    Held<IClock> named;
    Check(factory->CreateSynchronizedClock(Widen(name).c_str(), named.Out()), factory,
          ("opening the named clock " + name).c_str());
    std::uint64_t namedTime = 0;
    std::uint64_t systemTime = 0;
    Check(named->GetTime(&namedTime), named.Get(), "reading the named clock");
    Check(system->GetTime(&systemTime), system.Get(), "reading the system clock");

    const double offsetMs =
        (static_cast<double>(namedTime) - static_cast<double>(systemTime)) / 1e4;
    std::printf("named clock     %s\n", name.c_str());
    std::printf("time            %llu (100 ns)\n", static_cast<unsigned long long>(namedTime));
    std::printf("system clock    %+.3f ms from the named clock\n", -offsetMs);
    // Our own function starts on the system clock; a second later it would still be within
    // the counter's drift of it.
    if (writer.Get() != nullptr && (offsetMs > 1000.0 || offsetMs < -1000.0)) {
      std::fprintf(stderr, "read_named_clock: the named clock is %.3f ms off the system clock\n",
                   offsetMs);
      return 1;
    }
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "read_named_clock: %s\n", failure.what());
    return 1;
  }
}
