// SPDX-License-Identifier: MIT
// The references a publisher can follow on Linux: the system clock at full resolution, TAI,
// and PTP hardware clocks, with errors that name what could not be read. This machine has no
// PTP hardware clock, so for those only the errors are tested.
#include "ReferenceClock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <stdexcept>
#include <string>

namespace {

std::uint64_t SystemClockNs() {
  const auto sinceUnixEpoch = std::chrono::system_clock::now().time_since_epoch();
  return 11'644'473'600'000'000'000ull +
         static_cast<std::uint64_t>(std::chrono::nanoseconds(sinceUnixEpoch).count());
}

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
  const std::uint64_t before = SystemClockNs();
  const std::uint64_t systemNs = system->ReadNs();
  const std::uint64_t taiNs = tai->ReadNs();
  EXPECT_GE(systemNs, before);
  EXPECT_LE(systemNs, SystemClockNs());
  bool finerThan100Ns = false;
  for (int reading = 0; reading < 100 && !finerThan100Ns; ++reading)
    finerThan100Ns = system->ReadNs() % 100 != 0;
  EXPECT_TRUE(finerThan100Ns);
  // TAI is the system time plus the kernel's whole seconds of TAI offset (0 where unset).
  const double offsetS = static_cast<double>(taiNs - systemNs) / 1e9;
  EXPECT_TRUE(offsetS >= 0 && offsetS < 100 && std::abs(offsetS - std::round(offsetS)) < 0.05)
      << offsetS;
}

TEST(References, ThoseThatCannotBeReadAreNamedInTheError) {
  EXPECT_EQ(FailureOpening("/dev/volmtime-no-ptp"),
            "cannot open the PTP hardware clock /dev/volmtime-no-ptp: No such file or directory");
  EXPECT_EQ(FailureOpening("/dev/null"), "/dev/null is not a PTP hardware clock: Invalid argument");
  EXPECT_EQ(FailureOpening("gps"),
            "unknown reference \"gps\": use system, tai or a PTP hardware clock such as /dev/ptp0");
}

}  // namespace
