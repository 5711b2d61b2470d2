// SPDX-License-Identifier: MIT
// When the publisher updates: on absolute deadlines on the counter, one interval apart from
// the first. A late update does not move the ones after it; deadlines already past when an
// update ends are skipped rather than made up in a burst.
#ifndef TOOLS_VOLMTIME_UPDATESCHEDULE_H
#define TOOLS_VOLMTIME_UPDATESCHEDULE_H

#include <cstdint>

class UpdateSchedule {
 public:
  UpdateSchedule(std::uint64_t firstTick, std::uint64_t intervalTicks);

  // The next deadline after the current one that lies after `nowTick`; it becomes current.
  std::uint64_t Next(std::uint64_t nowTick);
  // Deadlines skipped so far because an update ended after them.
  [[nodiscard]] std::uint64_t Skipped() const { return skipped_; }

 private:
  std::uint64_t first_;
  std::uint64_t interval_;
  std::uint64_t index_ = 0;
  std::uint64_t skipped_ = 0;
};

#endif  // TOOLS_VOLMTIME_UPDATESCHEDULE_H
