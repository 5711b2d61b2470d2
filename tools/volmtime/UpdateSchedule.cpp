// SPDX-License-Identifier: MIT
#include "UpdateSchedule.h"

#include <algorithm>

UpdateSchedule::UpdateSchedule(std::uint64_t firstTick, std::uint64_t intervalTicks)
    : first_(firstTick), interval_(std::max<std::uint64_t>(1, intervalTicks)) {}

std::uint64_t UpdateSchedule::Next(std::uint64_t nowTick) {
  const std::uint64_t due = nowTick < first_ ? 0 : (nowTick - first_) / interval_ + 1;
  const std::uint64_t next = std::max(index_ + 1, due);
  skipped_ += next - index_ - 1;
  index_ = next;
  return first_ + index_ * interval_;
}
