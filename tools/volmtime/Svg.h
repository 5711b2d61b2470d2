// SPDX-License-Identifier: MIT
// Line charts as SVG documents: stacked panels over one shared x axis, each with its axis
// title and unit, tick labels, a grid and a zero line.
#ifndef TOOLS_VOLMTIME_SVG_H
#define TOOLS_VOLMTIME_SVG_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct Panel {
  std::string title;  // "offset from the mean line"
  std::string unit;   // "µs"
  std::vector<double> values;
  std::string axisTitle;  // beside the y axis; the title when empty
};

struct Plot {
  std::string title;
  std::string xTitle;  // with its unit
  std::vector<double> x;
  std::vector<Panel> panels;
};

// Evenly spaced round values (1, 2 or 5 times a power of ten) that cover [low, high].
struct Ticks {
  std::vector<double> values;
  int decimals = 0;  // enough to tell neighbouring ticks apart
};
Ticks RoundTicks(double low, double high, int aimedCount);

// Text made safe for SVG character data and attribute values.
std::string EscapeXml(std::string_view text);

// The points to draw of a series of `count` points whose x values are `x` (rising), so that
// no more than a few points land in one of `columns` columns: in each column, the first, the
// lowest, the highest and the last of every panel. Indices in rising order.
std::vector<std::size_t> PointsToDraw(const std::vector<double>& x,
                                      const std::vector<Panel>& panels, std::size_t columns);

// The document. Its <metadata> holds the drawn points as CSV (sample index, x, one column per
// panel), so what the picture shows can be checked against the numbers.
std::string DrawPlot(const Plot& plot);

#endif  // TOOLS_VOLMTIME_SVG_H
