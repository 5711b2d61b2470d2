// A second process for the platform tests.
//   create-store NAME SIZE BYTE HOLD_MS   create a store, fill it with BYTE, hold it, exit 0
//   read-store NAME BYTE                  exit 0 if the store's bytes are BYTE, 1 if not,
//                                         2 if it cannot be opened
#include "VolmTime/Core/Platform/SharedMemory.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

using VolmTime::Core::Platform::SharedMemoryError;
using VolmTime::Core::Platform::SharedMemoryMapping;

int CreateStore(const std::string& name, std::size_t size, int byte, long holdMs) {
  SharedMemoryMapping mapping = SharedMemoryMapping::CreateOrOpen(name, size);
  std::memset(mapping.Address(), byte, size);
  std::this_thread::sleep_for(std::chrono::milliseconds(holdMs));
  return 0;
}

int ReadStore(const std::string& name, int byte) {
  try {
    const SharedMemoryMapping mapping = SharedMemoryMapping::OpenReadOnly(name);
    const auto* bytes = static_cast<const unsigned char*>(mapping.Address());
    for (std::size_t i = 0; i < mapping.Size(); i += 997) {
      if (bytes[i] != byte) return 1;
    }
    return 0;
  } catch (const SharedMemoryError& failure) {
    std::fprintf(stderr, "read-store: %s\n", failure.what());
    return 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "create-store" && argc == 6) {
    return CreateStore(argv[2], std::strtoull(argv[3], nullptr, 10), std::atoi(argv[4]),
                       std::atol(argv[5]));
  }
  if (command == "read-store" && argc == 4) return ReadStore(argv[2], std::atoi(argv[3]));
  std::fprintf(stderr, "usage: volm_test_helper create-store NAME SIZE BYTE HOLD_MS | read-store NAME BYTE\n");
  return 64;
}
