// SPDX-License-Identifier: MIT
#include "tests/support/UniqueName.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

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
    // Other processes' stores come and go meanwhile, and a lock folder with them: a walk
    // that meets one gone is walked again.
    for (int walk = 0; walk < 10; ++walk) {
      std::vector<std::string> left;
      std::error_code error;
      fs::recursive_directory_iterator entry("/dev/shm",
                                             fs::directory_options::skip_permission_denied, error);
      for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (entry->path().filename().string().find("-" + Run() + "-") != std::string::npos)
          left.push_back(entry->path().string());
      }
      if (error) continue;
      for (const std::string& path : left) ADD_FAILURE() << "left: " << path;
      return;
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
