// Names for named objects that no other test, test run or process uses.
#ifndef TESTS_SUPPORT_UNIQUENAME_H
#define TESTS_SUPPORT_UNIQUENAME_H

#include <string>

// "<prefix>-<process id>-<counter>-<random>".
std::string UniqueName(const std::string& prefix);

#endif  // TESTS_SUPPORT_UNIQUENAME_H
