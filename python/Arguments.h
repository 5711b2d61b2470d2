// SPDX-License-Identifier: MIT
// The arguments scripts pass, checked and converted. A wrong type raises TypeError; a value
// beyond what the parameter's type holds raises OverflowError, any other value the parameter
// does not take ValueError. Every message names the parameter.
#ifndef PYTHON_ARGUMENTS_H
#define PYTHON_ARGUMENTS_H

#include <VolmTime/VolmTime.h>

#include <pybind11/pybind11.h>

#include <cstdint>
#include <vector>

namespace VolmPython {

inline constexpr std::uint64_t kUnitsPerSecond = 10'000'000;
// Long waits run in slices of this length so that Ctrl-C ends them.
inline constexpr std::uint32_t kSliceMs = 50;
inline constexpr std::uint64_t kSliceUnits = kSliceMs * 10'000ULL;

// A tick or a time: an int from 0 to 2**64 - 1.
std::uint64_t Unsigned64(const pybind11::handle& value, const char* name);

// A duration in 100-ns units, given either in seconds (a number) or in units (an int).
std::uint64_t Duration(const pybind11::handle& seconds, const pybind11::handle& units);

// A timeout in whole milliseconds, rounded up, from seconds; None waits without limit.
std::uint32_t TimeoutMs(const pybind11::handle& seconds);

// The handles of a wait: ints, or objects with fileno().
std::vector<VolmHandle> Handles(const pybind11::handle& handles);

// Raises the pending exception when a signal handler (Ctrl-C) raised one.
void CheckSignals();

}  // namespace VolmPython

#endif  // PYTHON_ARGUMENTS_H
