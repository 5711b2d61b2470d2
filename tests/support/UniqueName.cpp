#include "tests/support/UniqueName.h"

#include <atomic>
#include <chrono>
#include <random>

std::string UniqueName(const std::string& prefix) {
  static std::atomic<unsigned> counter{0};
  static const auto runId = static_cast<unsigned long long>(
      std::chrono::steady_clock::now().time_since_epoch().count() ^ std::random_device{}());
  return prefix + "-" + std::to_string(runId) + "-" + std::to_string(counter.fetch_add(1));
}
