// SPDX-License-Identifier: MIT
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>

namespace {

// Made on first use, so that a name asked for during static initialisation has it too.
const std::string& Run() {
  static const std::string run = std::to_string(static_cast<unsigned long long>(
      std::chrono::steady_clock::now().time_since_epoch().count() ^ std::random_device{}()));
  return run;
}

// Linux keeps a store's name in /dev/shm, and its lock file in a folder there, until a holder
// removes them; a test program that leaves one of its names there has lost a store's
// clean-up. (Windows names end with their handles.)
struct NoNameLeftBehind : testing::Environment {
  void TearDown() override {
#if defined(__linux__)
    namespace fs = std::filesystem;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(
             "/dev/shm", fs::directory_options::skip_permission_denied, ignored)) {
      const std::string file = entry.path().filename().string();
      if (file.find("-" + Run() + "-") != std::string::npos)
        ADD_FAILURE() << "left: " << entry.path().string();
    }
#endif
  }
};
[[maybe_unused]] testing::Environment* const kCheck =
    testing::AddGlobalTestEnvironment(new NoNameLeftBehind);

}  // namespace

std::string UniqueName(const std::string& prefix) {
  static std::atomic<unsigned> counter{0};
  return prefix + "-" + Run() + "-" + std::to_string(counter.fetch_add(1));
}
