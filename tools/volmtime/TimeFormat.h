// SPDX-License-Identifier: MIT
// Text forms of the library's times for people.
#ifndef TOOLS_VOLMTIME_TIMEFORMAT_H
#define TOOLS_VOLMTIME_TIMEFORMAT_H

#include <cstdint>
#include <string>

// A system time (100-ns units since 1601-01-01 UTC) as ISO-8601 UTC with all seven
// sub-second digits: "2026-11-22T23:58:02.1234567Z".
std::string FormatSystemTime(std::uint64_t fileTime);

// A duration or relative time in 100-ns units as seconds with seven decimals: "12.3456789 s".
std::string FormatSeconds(std::uint64_t units);

// A signed offset in 100-ns units as microseconds, exactly: "+0.1 us", "-1234.5 us".
std::string FormatOffsetUs(std::int64_t units);

// The system clock now as FormatSystemTime writes it: the start of every log line.
std::string Timestamp();

#endif  // TOOLS_VOLMTIME_TIMEFORMAT_H
