// SPDX-License-Identifier: MIT
// References on Linux: clocks of clock_gettime, a PTP hardware clock through the dynamic
// clock id of its open device.
#include "ReferenceClock.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
constexpr std::uint64_t kNsFrom1601To1970 = 11'644'473'600ull * kNsPerSecond;

// The clock id of a character device's clock, as the kernel's posix-clock interface encodes it.
clockid_t ClockOfDevice(int descriptor) {
  constexpr unsigned kClockFd = 3;
  return static_cast<clockid_t>((~static_cast<unsigned>(descriptor) << 3) | kClockFd);
}

class PosixReference : public ReferenceClock {
 public:
  PosixReference(clockid_t clock, std::string name, int device = -1)
      : clock_(clock), name_(std::move(name)), device_(device) {}
  ~PosixReference() override {
    if (device_ >= 0) close(device_);
  }
  PosixReference(const PosixReference&) = delete;
  PosixReference& operator=(const PosixReference&) = delete;

  std::uint64_t ReadNs() override {
    timespec now{};
    if (clock_gettime(clock_, &now) != 0)
      throw std::runtime_error("cannot read " + name_ + ": " + std::strerror(errno));
    return kNsFrom1601To1970 + static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond +
           static_cast<std::uint64_t>(now.tv_nsec);
  }
  [[nodiscard]] std::string Name() const override { return name_; }

 private:
  clockid_t clock_;
  std::string name_;
  int device_;
};

// The system's reason when `clock` cannot be read; empty when it can.
std::string WhyUnreadable(clockid_t clock) {
  timespec now{};
  return clock_gettime(clock, &now) == 0 ? std::string() : std::string(std::strerror(errno));
}

}  // namespace

std::unique_ptr<ReferenceClock> OpenReferenceClock(const std::string& which) {
  if (which == "system")
    return std::make_unique<PosixReference>(CLOCK_REALTIME, "the system clock (CLOCK_REALTIME)");
  if (which == "tai") {
    const std::string reason = WhyUnreadable(CLOCK_TAI);
    if (!reason.empty()) throw std::runtime_error("cannot read TAI (CLOCK_TAI): " + reason);
    return std::make_unique<PosixReference>(CLOCK_TAI, "TAI (CLOCK_TAI)");
  }
  if (!which.empty() && which.front() == '/') {
    const int device = open(which.c_str(), O_RDONLY | O_CLOEXEC);
    if (device < 0) {
      throw std::runtime_error("cannot open the PTP hardware clock " + which + ": " +
                               std::strerror(errno));
    }
    const std::string reason = WhyUnreadable(ClockOfDevice(device));
    if (!reason.empty()) {
      close(device);
      throw std::runtime_error(which + " is not a PTP hardware clock: " + reason);
    }
    return std::make_unique<PosixReference>(ClockOfDevice(device),
                                            "the PTP hardware clock " + which, device);
  }
  throw std::runtime_error("unknown reference \"" + which +
                           "\": use system, tai or a PTP hardware clock such as /dev/ptp0");
}
