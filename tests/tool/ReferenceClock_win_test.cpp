// SPDX-License-Identifier: MIT
// The reference a publisher follows on Windows: the precise system time; TAI and PTP hardware
// clocks are refused with a message that says so.
#include "ReferenceClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace {

constexpr std::uint64_t kNsFrom1601To1970 = 11'644'473'600ull * 1'000'000'000ull;

TEST(References, OnlyTheSystemClockIsReadHere) {
  const auto system = OpenReferenceClock("system");
  const auto before = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  const std::uint64_t ns = system->ReadNs();
  // Both come from the system time; the bound is loose since they differ in resolution.
  EXPECT_NEAR(static_cast<double>(ns - kNsFrom1601To1970) / 1e6,
              static_cast<double>(before.count()), 1000);
  for (const std::string which : {"tai", "/dev/ptp0"}) {
    std::string failure;
    try {
      (void)OpenReferenceClock(which);
    } catch (const std::runtime_error& error) {
      failure = error.what();
    }
    EXPECT_EQ(failure, "the reference \"" + which +
                           "\" is not available on Windows: only "
                           "\"system\" is");
  }
}

}  // namespace
