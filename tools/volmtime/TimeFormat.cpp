// SPDX-License-Identifier: MIT
#include "TimeFormat.h"

#include <VolmTime/VolmTypes.h>

#include <chrono>
#include <cstdio>

namespace {
constexpr std::uint64_t kUnitsPerSecond = VOLM_TIME_UNITS_PER_SECOND;
constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;
}  // namespace

std::string FormatSystemTime(std::uint64_t fileTime) {
  const std::uint64_t seconds = fileTime / kUnitsPerSecond;
  const auto fraction = static_cast<unsigned long long>(fileTime % kUnitsPerSecond);
  // Days since 1970 through the civil calendar; times before 1970 come out as negative days.
  const auto unixSeconds =
      static_cast<long long>(seconds) - static_cast<long long>(kSecondsFrom1601To1970);
  const std::chrono::sys_seconds point{std::chrono::seconds{unixSeconds}};
  const auto day = std::chrono::floor<std::chrono::days>(point);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{point - day};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  std::string formatted(text);
  char digits[16];
  std::snprintf(digits, sizeof digits, ".%07llu", fraction);
  formatted.insert(formatted.size() - 1, digits);
  return formatted;
}

std::string FormatSeconds(std::uint64_t units) {
  char text[48];
  std::snprintf(text, sizeof text, "%llu.%07llu s",
                static_cast<unsigned long long>(units / kUnitsPerSecond),
                static_cast<unsigned long long>(units % kUnitsPerSecond));
  return text;
}

std::string FormatOffsetUs(std::int64_t units) {
  // The magnitude as unsigned, so that the most negative offset has one too.
  const std::uint64_t magnitude =
      units < 0 ? 0 - static_cast<std::uint64_t>(units) : static_cast<std::uint64_t>(units);
  char text[48];
  std::snprintf(text, sizeof text, "%c%llu.%llu us", units < 0 ? '-' : '+',
                static_cast<unsigned long long>(magnitude / 10),
                static_cast<unsigned long long>(magnitude % 10));
  return text;
}

std::string Timestamp() {
  constexpr std::uint64_t kUnitsFrom1601To1970 = kSecondsFrom1601To1970 * kUnitsPerSecond;
  const auto sinceUnixEpoch =
      std::chrono::duration_cast<std::chrono::duration<std::int64_t, std::ratio<1, VOLM_TIME_UNITS_PER_SECOND>>>(
          std::chrono::system_clock::now().time_since_epoch());
  return FormatSystemTime(kUnitsFrom1601To1970 +
                          static_cast<std::uint64_t>(sinceUnixEpoch.count()));
}
