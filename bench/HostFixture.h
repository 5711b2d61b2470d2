// The library as the benchmarks reach it: loaded like a host loads it.
#ifndef BENCH_HOSTFIXTURE_H
#define BENCH_HOSTFIXTURE_H

#include <VolmTime/VolmTime.h>

#include "tools/common/HostTimeBase.h"

#include <cstdio>
#include <cstdlib>
#include <string>

// Process-wide: loaded once, released at exit.
struct LoadedVolmTime {
  LoadedVolmTime() : base(VOLM_LIBRARY_FILE), factory(base.Factory()) {
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

inline std::basic_string<VolmWideChar> WideName(const std::string& text) {
  return std::basic_string<VolmWideChar>(text.begin(), text.end());
}

#endif  // BENCH_HOSTFIXTURE_H
