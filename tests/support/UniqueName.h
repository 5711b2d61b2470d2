// SPDX-License-Identifier: MIT
// Names for named objects that no other test, test run or process uses.
#ifndef TESTS_SUPPORT_UNIQUENAME_H
#define TESTS_SUPPORT_UNIQUENAME_H

#include <string>

// "<prefix>-<run>-<counter>", the run drawn once per process from the clock and a random
// device. A test program fails if a name it made is still in /dev/shm when it ends.
std::string UniqueName(const std::string& prefix);

#endif  // TESTS_SUPPORT_UNIQUENAME_H
