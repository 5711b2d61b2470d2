// SPDX-License-Identifier: MIT
// Summaries of repeated measurements.
#ifndef TOOLS_VOLMTIME_STATISTICS_H
#define TOOLS_VOLMTIME_STATISTICS_H

#include <vector>

struct Summary {
  double mean = 0;
  double median = 0;
  double stddev = 0;  // sample standard deviation; 0 for one value
};

Summary Summarise(std::vector<double> values);

#endif  // TOOLS_VOLMTIME_STATISTICS_H
