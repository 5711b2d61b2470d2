// SPDX-License-Identifier: MIT
// A second process for the platform tests. A store named NAME-ready tells the test that the
// helper has set up NAME.
//   create-store NAME SIZE BYTE   create NAME and fill it with BYTE, then hold it until
//                                 killed (a minute at most)
//   churn NAME SIZE MS            for MS milliseconds open NAME as writer and as reader in
//                                 turn; exit 1 if a view is smaller than SIZE or not set up,
//                                 or an opening fails for any reason but a missing name
#include "platform/SharedMemory.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

using VolmTime::Platform::SharedMemoryError;
using VolmTime::Platform::SharedMemoryMapping;
using Clock = std::chrono::steady_clock;

int CreateStore(const std::string& name, std::size_t size, int byte) {
  SharedMemoryMapping store = SharedMemoryMapping::CreateOrOpen(name, size);
  std::memset(store.Address(), byte, size);
  const SharedMemoryMapping ready = SharedMemoryMapping::CreateOrOpen(name + "-ready", 1);
  std::this_thread::sleep_for(std::chrono::minutes(1));
  return 0;
}

// Writers stamp the store's first and last byte; a reader that finds a stamped first byte
// and an unstamped last one, or a view too small, has met a store that was not set up.
constexpr unsigned char kStamp = 0xA5;

int Churn(const std::string& name, std::size_t size, long durationMs) {
  // The only failure allowed is the one for a name that does not exist (no writer holds it).
  std::string missing;
  try {
    (void)SharedMemoryMapping::OpenReadOnly(name + "-never");
  } catch (const SharedMemoryError& failure) {
    missing = failure.what();
  }
  const auto end = Clock::now() + std::chrono::milliseconds(durationMs);
  for (unsigned round = 0; Clock::now() < end; ++round) {
    try {
      if (round % 2 == 0) {
        SharedMemoryMapping writer = SharedMemoryMapping::CreateOrOpen(name, size);
        if (writer.Size() < size) return 1;
        auto* bytes = static_cast<unsigned char*>(writer.Address());
        bytes[size - 1] = kStamp;
        std::atomic_ref<unsigned char>(bytes[0]).store(kStamp, std::memory_order_release);
      } else {
        const SharedMemoryMapping reader = SharedMemoryMapping::OpenReadOnly(name);
        if (reader.Size() < size) return 1;
        auto* bytes = static_cast<unsigned char*>(reader.Address());  // only read
        const bool stamped =
            std::atomic_ref<unsigned char>(bytes[0]).load(std::memory_order_acquire) == kStamp;
        if (stamped && bytes[size - 1] != kStamp) return 1;
      }
    } catch (const SharedMemoryError& failure) {
      if (failure.what() != missing) {
        std::fprintf(stderr, "churn: %s\n", failure.what());
        return 1;
      }
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  try {
    if (command == "create-store" && argc == 5)
      return CreateStore(argv[2], std::strtoull(argv[3], nullptr, 10), std::atoi(argv[4]));
    if (command == "churn" && argc == 5)
      return Churn(argv[2], std::strtoull(argv[3], nullptr, 10), std::atol(argv[4]));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", command.c_str(), failure.what());
    return 3;
  }
  std::fprintf(stderr,
               "usage: volm_test_helper create-store NAME SIZE BYTE | churn NAME SIZE MS\n");
  return 64;
}
