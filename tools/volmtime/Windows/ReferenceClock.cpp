// SPDX-License-Identifier: MIT
// The reference on Windows: the precise system time. TAI and PTP hardware clocks have no
// interface the tool can read here.
#include "ReferenceClock.h"

#include <windows.h>

#include <stdexcept>

namespace {

class SystemReference : public ReferenceClock {
 public:
  std::uint64_t ReadNs() override {
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    return ((static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime) * 100;
  }
  [[nodiscard]] std::string Name() const override {
    return "the system clock (GetSystemTimePreciseAsFileTime)";
  }
};

}  // namespace

std::unique_ptr<ReferenceClock> OpenReferenceClock(const std::string& which) {
  if (which == "system") return std::make_unique<SystemReference>();
  throw std::runtime_error("the reference \"" + which +
                           "\" is not available on Windows: only \"system\" is");
}
