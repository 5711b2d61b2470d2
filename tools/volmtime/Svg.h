// A small line chart of one or two series, as an SVG document.
#ifndef TOOLS_VOLMTIME_SVG_H
#define TOOLS_VOLMTIME_SVG_H

#include <string>
#include <vector>

struct Series {
  std::string title;
  std::string unit;
  std::vector<double> values;
};

// One panel per series, stacked, with the value range written on each.
std::string DrawPanels(const std::string& title, const std::vector<Series>& panels);

#endif  // TOOLS_VOLMTIME_SVG_H
