// SPDX-License-Identifier: MIT
#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <numeric>

Summary Summarise(std::vector<double> values) {
  Summary summary;
  if (values.empty()) return summary;
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  summary.mean = std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(n);
  summary.median = n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
  if (n > 1) {
    double squares = 0;
    for (const double value : values) squares += (value - summary.mean) * (value - summary.mean);
    summary.stddev = std::sqrt(squares / static_cast<double>(n - 1));
  }
  return summary;
}

double Median(std::vector<double> values) {
  if (values.empty()) return NAN;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double RootMeanSquare(const std::vector<double>& values) {
  if (values.empty()) return 0;
  double squares = 0;
  for (const double value : values) squares += value * value;
  return std::sqrt(squares / static_cast<double>(values.size()));
}
