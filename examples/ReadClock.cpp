// SPDX-License-Identifier: MIT
// Reads VolmTime's system clock and relative clock, with the library loaded at run time.
//   read_clock [LIBRARY]   LIBRARY: a library file to load instead of the usual places
#include "LoadVolmTime.h"

#include <cstdint>
#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
  try {
    const LoadedVolmTime volm(argc > 1 ? argv[1] : "");
    IVolmTimeFactory* factory = volm.Factory();

    Held<IClock> system;
    Check(factory->GetSystemClock(system.Out()), factory, "GetSystemClock");
    std::uint64_t now = 0;  // 100-ns units since 1601-01-01 UTC
    Check(system->GetTime(&now), system.Get(), "reading the system clock");

    Held<IClock> relative;
    Check(factory->GetRelativeClock(relative.Out()), factory, "GetRelativeClock");
    std::uint64_t sinceStart = 0;  // 100-ns units since the factory was made
    Check(relative->GetTime(&sinceStart), relative.Get(), "reading the relative clock");

    std::printf("library         %s\n", volm.File().c_str());
    std::printf("system clock    %llu (100 ns since 1601-01-01 UTC; Unix time %.3f s)\n",
                static_cast<unsigned long long>(now),
                static_cast<double>(now - 116'444'736'000'000'000ULL) / 1e7);
    std::printf("relative clock  %llu (100 ns since the factory was made)\n",
                static_cast<unsigned long long>(sinceStart));
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "read_clock: %s\n", failure.what());
    return 1;
  }
}
