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

// The middle value, the upper of the two middle ones for an even count: a value that was
// measured, not an average of two; NaN for none.
double Median(std::vector<double> values);

// The square root of the mean square; 0 for none.
double RootMeanSquare(const std::vector<double>& values);

#endif  // TOOLS_VOLMTIME_STATISTICS_H
