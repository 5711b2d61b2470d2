// SPDX-License-Identifier: MIT
// A host that links the library (VolmTime::VolmTime in CMake, -lVolmTime with pkg-config) and
// calls the entry points directly instead of loading the library at run time.
#include <VolmTime/VolmTime.h>
#include <VolmTime/VolmTimeLinked.h>

#include <cstdint>
#include <cstdio>

int main() {
  void* object = nullptr;
  if (CreateInstance(CLSID_VolmTimeFactory, &object) != VOLM_S_OK || object == nullptr) {
    std::fprintf(stderr, "linked_clock: CreateInstance gave no time factory\n");
    return 1;
  }
  auto* factory = static_cast<IVolmTimeFactory*>(object);
  factory->AddRef();
  IClock* clock = nullptr;
  std::uint64_t now = 0;  // 100-ns units since 1601-01-01 UTC
  const bool read =
      factory->GetSystemClock(&clock) == VOLM_S_OK && clock->GetTime(&now) == VOLM_S_OK;
  if (clock != nullptr) clock->Release();
  factory->Release();
  if (!read) {
    std::fprintf(stderr, "linked_clock: reading the system clock failed\n");
    return 1;
  }
  std::printf("system clock    %llu (100 ns since 1601-01-01 UTC)\n",
              static_cast<unsigned long long>(now));
  // Every object given back: the library could now be unloaded.
  if (CanDllUnload() != 1) {
    std::fprintf(stderr, "linked_clock: objects are still alive\n");
    return 1;
  }
  return 0;
}
