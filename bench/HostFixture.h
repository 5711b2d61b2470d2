// SPDX-License-Identifier: MIT
// The library as the benchmarks reach it: loaded like a host loads it.
#ifndef BENCH_HOSTFIXTURE_H
#define BENCH_HOSTFIXTURE_H

#include <VolmTime/VolmTime.h>

#include "tools/common/HostTimeBase.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// Process-wide: loaded once, released at exit. VOLM_BENCH_LIBRARY names another build of the
// library to measure instead of this build's, for a before-and-after comparison.
struct LoadedVolmTime {
  static const char* File() {
    const char* other = std::getenv("VOLM_BENCH_LIBRARY");
    return other != nullptr && *other != '\0' ? other : VOLM_LIBRARY_FILE;
  }

  LoadedVolmTime() : base(File()), factory(base.Factory()) {
    if (!base.IsReady()) {
      std::fprintf(stderr, "%s\n", base.Error().c_str());
      std::abort();
    }
    factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, reinterpret_cast<void**>(&advanced));
  }
  ~LoadedVolmTime() { advanced->Release(); }
  HostTimeBase base;
  IVolmTimeFactory* factory = nullptr;
  IVolmTimeFactoryAdvanced* advanced = nullptr;
};

LoadedVolmTime& Volm();

// Started with this argument, the benchmark program only spins, as load for the others.
inline constexpr const char* kBusyArgument = "--volm-busy";

inline std::basic_string<VolmWideChar> WideName(const std::string& text) {
  return std::basic_string<VolmWideChar>(text.begin(), text.end());
}

#endif  // BENCH_HOSTFIXTURE_H
