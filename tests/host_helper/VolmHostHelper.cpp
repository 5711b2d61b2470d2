// A second host process for the cross-process tests. It reaches the library only as a host
// does: loaded by file name, public headers only.
//   write NAME HOLD_MS        create NAME, publish (100, 1000, 2.0) and (200, 1300, 0.5),
//                             hold it for HOLD_MS, exit 0
//   reset NAME HOLD_MS        create or take over NAME, publish nothing, hold it
//   expect NAME TICK TIME     exit 0 if NAME maps TICK to TIME, 1 if to something else,
//                             2 if it cannot be opened, 3 if the mapping fails
//   clock NAME                exit 0 if a named clock on NAME tells a time, 2 if it cannot
//                             be made, 3 if it cannot tell the time
#include <VolmTime/VolmTime.h>

#include "tools/common/DynamicLibrary.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
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

int Run(IVolmTimeFactory* factory, int argc, char** argv) {
  const std::string command = argv[1];
  const auto name = Wide(argv[2]);
  Releaser<IVolmTimeFactoryAdvanced> advanced;
  if (factory->QueryInterface(IID_IVolmTimeFactoryAdvanced, reinterpret_cast<void**>(&advanced.pointer)) != VOLM_S_OK) {
    return 4;
  }
  if ((command == "write" || command == "reset") && argc == 4) {
    Releaser<IPiecewiseLinearCorrection> writer;
    if (advanced.pointer->CreateSharedMemoryCorrection(name.c_str(), &writer.pointer) != VOLM_S_OK) return 2;
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
    if (advanced.pointer->OpenSharedMemoryCorrection(name.c_str(), &reader.pointer) != VOLM_S_OK) return 2;
    std::uint64_t time = 0;
    if (reader.pointer->TickToTime(std::strtoull(argv[3], nullptr, 10), &time) != VOLM_S_OK) return 3;
    return time == std::strtoull(argv[4], nullptr, 10) ? 0 : 1;
  }
  if (command == "clock" && argc == 3) {
    Releaser<IClock> clock;
    if (factory->CreateSynchronizedClock(name.c_str(), &clock.pointer) != VOLM_S_OK) return 2;
    std::uint64_t time = 0;
    return clock.pointer->GetTime(&time) == VOLM_S_OK ? 0 : 3;
  }
  return 64;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: volm_host_helper write|reset|expect|clock NAME ...\n");
    return 64;
  }
  DynamicLibrary library(VOLM_LIBRARY_FILE);
  if (!library.IsLoaded()) {
    std::fprintf(stderr, "%s\n", library.Error().c_str());
    return 5;
  }
  auto createInstance = library.Get<VolmCreateInstanceFunction>(kVolmCreateInstanceName);
  void* object = nullptr;
  if (createInstance == nullptr || createInstance(CLSID_VolmTimeFactory, &object) != VOLM_S_OK) return 5;
  auto* factory = static_cast<IVolmTimeFactory*>(object);
  factory->AddRef();
  const int result = Run(factory, argc, argv);
  factory->Release();
  return result;
}
