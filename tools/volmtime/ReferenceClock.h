// SPDX-License-Identifier: MIT
// The time the publisher disciplines a shared function to, read by the tool itself at the
// platform's full resolution: nanoseconds on Linux, 100-ns units on Windows.
#ifndef TOOLS_VOLMTIME_REFERENCECLOCK_H
#define TOOLS_VOLMTIME_REFERENCECLOCK_H

#include <cstdint>
#include <memory>
#include <string>

class ReferenceClock {
 public:
  virtual ~ReferenceClock() = default;
  // Nanoseconds since 1601-01-01, the system time's epoch. A reference that counts TAI (the
  // TAI clock, a PTP hardware clock) is counted from that epoch just the same.
  virtual std::uint64_t ReadNs() = 0;
  // What it is, for messages: "the system clock (CLOCK_REALTIME)".
  [[nodiscard]] virtual std::string Name() const = 0;
};

// "system", "tai" or the path of a PTP hardware clock such as "/dev/ptp0". Throws
// std::runtime_error, naming the reference, when it cannot be read on this machine.
std::unique_ptr<ReferenceClock> OpenReferenceClock(const std::string& which);

#endif  // TOOLS_VOLMTIME_REFERENCECLOCK_H
