// SPDX-License-Identifier: MIT
// The references a publisher can follow on Linux: the system clock at full resolution, TAI,
// and PTP hardware clocks, with errors that name what could not be read. A machine without a
// PTP hardware clock tests the errors only.
#include "ReferenceClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <stdexcept>
#include <string>

namespace {

constexpr std::uint64_t kNsFrom1601To1970 = 11'644'473'600ull * 1'000'000'000ull;

std::string FailureOpening(const std::string& which) {
  try {
    (void)OpenReferenceClock(which);
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "";
}

TEST(References, SystemAndTaiAreReadInNanosecondsFrom1601) {
  const auto system = OpenReferenceClock("system");
  const auto tai = OpenReferenceClock("tai");
  const auto nowNs = [] {
    return kNsFrom1601To1970 + static_cast<std::uint64_t>(
                                   std::chrono::duration_cast<std::chrono::nanoseconds>(
                                       std::chrono::system_clock::now().time_since_epoch())
                                       .count());
  };
  const std::uint64_t before = nowNs();
  const std::uint64_t systemNs = system->ReadNs();
  const std::uint64_t taiNs = tai->ReadNs();
  const std::uint64_t after = nowNs();
  EXPECT_GE(systemNs, before);
  EXPECT_LE(systemNs, after);
  // Full resolution: not all readings fall on whole 100-ns units.
  bool finer = false;
  for (int reading = 0; reading < 100 && !finer; ++reading) finer = system->ReadNs() % 100 != 0;
  EXPECT_TRUE(finer);
  // TAI is the system time plus the kernel's whole seconds of TAI offset (0 where unset).
  const double offsetS = static_cast<double>(taiNs - systemNs) / 1e9;
  EXPECT_GE(offsetS, 0);
  EXPECT_LT(offsetS, 100);
  EXPECT_LT(std::abs(offsetS - std::round(offsetS)), 0.05);
  EXPECT_EQ(tai->Name(), "TAI (CLOCK_TAI)");
}

TEST(References, ThoseThatCannotBeReadAreNamedInTheError) {
  EXPECT_EQ(FailureOpening("/dev/volmtime-no-such-ptp"),
            "cannot open the PTP hardware clock /dev/volmtime-no-such-ptp: No such file or "
            "directory");
  EXPECT_EQ(FailureOpening("/dev/null"),
            "/dev/null is not a PTP hardware clock: Invalid argument");
  EXPECT_EQ(FailureOpening("gps"),
            "unknown reference \"gps\": use system, tai or a PTP hardware clock such as "
            "/dev/ptp0");
}

}  // namespace
