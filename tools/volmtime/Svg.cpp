// SPDX-License-Identifier: MIT
#include "Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace {

constexpr double kWidth = 900;
constexpr double kLeft = 90;
constexpr double kRight = 24;
constexpr double kTitleHeight = 44;
constexpr double kPanelHeight = 240;
constexpr double kPanelGap = 78;
constexpr double kPlotWidth = kWidth - kLeft - kRight;

std::string Number(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  std::string formatted = text;
  // "-0" or "-0.00" for a tick at zero reads as a sign error.
  if (formatted.find_first_not_of("-0.") == std::string::npos && formatted[0] == '-')
    formatted.erase(0, 1);
  return formatted;
}

std::string Coordinate(double value) { return Number(value, 2); }

struct Range {
  double low;
  double high;
};

Range RangeOf(const std::vector<double>& values) {
  if (values.empty()) return {-1, 1};
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  double from = *low;
  double to = *high;
  if (to - from <= std::max(std::fabs(to), std::fabs(from)) * 1e-12) {
    const double pad = from == 0 ? 1.0 : std::fabs(from) * 0.1;
    from -= pad;
    to += pad;
  }
  return {from, to};
}

}  // namespace

Ticks RoundTicks(double low, double high, int aimedCount) {
  Ticks ticks;
  const double span = high - low;
  if (!(span > 0) || !std::isfinite(span)) return ticks;
  const double rough = span / std::max(aimedCount, 1);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power;
  for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
    step = factor * power;
    if (step >= rough) break;
  }
  ticks.decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  for (double tick = std::ceil(low / step - 1e-9) * step; tick <= high + step * 1e-9;
       tick += step) {
    ticks.values.push_back(std::fabs(tick) < step * 1e-9 ? 0.0 : tick);
  }
  return ticks;
}

std::string EscapeXml(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default:
        // Control characters other than tab and line ends are not allowed in XML 1.0.
        if (static_cast<unsigned char>(character) < 0x20 && character != '\t' &&
            character != '\n' && character != '\r') {
          escaped += '?';
        } else {
          escaped += character;
        }
    }
  }
  return escaped;
}

std::vector<std::size_t> PointsToDraw(const std::vector<double>& x,
                                      const std::vector<Panel>& panels, std::size_t columns) {
  std::vector<std::size_t> chosen;
  if (x.empty()) return chosen;
  if (x.size() <= 4 * columns) {
    for (std::size_t i = 0; i < x.size(); ++i) chosen.push_back(i);
    return chosen;
  }
  const double from = x.front();
  const double span = std::max(x.back() - from, 1e-300);
  std::size_t begin = 0;
  while (begin < x.size()) {
    const auto column =
        static_cast<std::size_t>((x[begin] - from) / span * static_cast<double>(columns - 1));
    std::size_t end = begin + 1;
    while (end < x.size() && static_cast<std::size_t>((x[end] - from) / span *
                                                      static_cast<double>(columns - 1)) == column)
      ++end;
    chosen.push_back(begin);
    chosen.push_back(end - 1);
    for (const Panel& panel : panels) {
      const auto first = panel.values.begin() + static_cast<std::ptrdiff_t>(begin);
      const auto last = panel.values.begin() + static_cast<std::ptrdiff_t>(end);
      chosen.push_back(
          static_cast<std::size_t>(std::min_element(first, last) - panel.values.begin()));
      chosen.push_back(
          static_cast<std::size_t>(std::max_element(first, last) - panel.values.begin()));
    }
    begin = end;
  }
  std::sort(chosen.begin(), chosen.end());
  chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
  return chosen;
}

std::string DrawPlot(const Plot& plot) {
  std::ostringstream svg;
  const double height =
      kTitleHeight + static_cast<double>(plot.panels.size()) * (kPanelHeight + kPanelGap);
  svg << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << height
      << "\" viewBox=\"0 0 " << kWidth << ' ' << height
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
      << "<title>" << EscapeXml(plot.title) << "</title>\n";

  const std::vector<std::size_t> drawn =
      PointsToDraw(plot.x, plot.panels, static_cast<std::size_t>(kPlotWidth));
  svg << "<metadata>\nindex,x";
  for (const Panel& panel : plot.panels)
    svg << ',' << EscapeXml(panel.title) << " (" << EscapeXml(panel.unit) << ')';
  svg << '\n';
  for (const std::size_t i : drawn) {
    char value[40];
    std::snprintf(value, sizeof value, "%.9g", plot.x[i]);
    svg << i << ',' << value;
    for (const Panel& panel : plot.panels) {
      std::snprintf(value, sizeof value, "%.12g", panel.values[i]);
      svg << ',' << value;
    }
    svg << '\n';
  }
  svg << "</metadata>\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      << "<text x=\"" << kLeft << "\" y=\"26\" font-size=\"16\" font-weight=\"bold\">"
      << EscapeXml(plot.title) << "</text>\n";

  const Range xRange = RangeOf(plot.x);
  const Ticks xTicks = RoundTicks(xRange.low, xRange.high, 8);
  const auto xAt = [&](double x) {
    return kLeft + kPlotWidth * (x - xRange.low) / (xRange.high - xRange.low);
  };
  double top = kTitleHeight + 22;
  for (const Panel& panel : plot.panels) {
    const double bottom = top + kPanelHeight;
    const Range yRange = RangeOf(panel.values);
    const Ticks yTicks = RoundTicks(yRange.low, yRange.high, 6);
    const auto yAt = [&](double y) {
      return bottom - kPanelHeight * (y - yRange.low) / (yRange.high - yRange.low);
    };
    const std::string heading = EscapeXml(panel.title + " (" + panel.unit + ")");
    const std::string axisTitle = EscapeXml(
        (panel.axisTitle.empty() ? panel.title : panel.axisTitle) + " (" + panel.unit + ")");
    svg << "<g class=\"panel\">\n"
        << "<text x=\"" << kLeft << "\" y=\"" << Coordinate(top - 8)
        << "\" font-size=\"13\" font-weight=\"bold\">" << heading << "</text>\n";
    // Grid and tick labels.
    svg << "<g stroke=\"#e3e3e3\">\n";
    for (const double tick : yTicks.values)
      svg << "<line x1=\"" << kLeft << "\" x2=\"" << kLeft + kPlotWidth << "\" y1=\""
          << Coordinate(yAt(tick)) << "\" y2=\"" << Coordinate(yAt(tick)) << "\"/>\n";
    for (const double tick : xTicks.values)
      svg << "<line x1=\"" << Coordinate(xAt(tick)) << "\" x2=\"" << Coordinate(xAt(tick))
          << "\" y1=\"" << top << "\" y2=\"" << bottom << "\"/>\n";
    svg << "</g>\n<g fill=\"#333\">\n";
    for (const double tick : yTicks.values)
      svg << "<text x=\"" << kLeft - 6 << "\" y=\"" << Coordinate(yAt(tick) + 4)
          << "\" text-anchor=\"end\">" << Number(tick, yTicks.decimals) << "</text>\n";
    for (const double tick : xTicks.values)
      svg << "<text x=\"" << Coordinate(xAt(tick)) << "\" y=\"" << bottom + 16
          << "\" text-anchor=\"middle\">" << Number(tick, xTicks.decimals) << "</text>\n";
    svg << "</g>\n";
    if (yRange.low <= 0 && yRange.high >= 0)
      svg << "<line class=\"zero\" x1=\"" << kLeft << "\" x2=\"" << kLeft + kPlotWidth << "\" y1=\""
          << Coordinate(yAt(0)) << "\" y2=\"" << Coordinate(yAt(0))
          << "\" stroke=\"#555\" stroke-dasharray=\"5 3\"/>\n";
    svg << "<rect x=\"" << kLeft << "\" y=\"" << top << "\" width=\"" << kPlotWidth
        << "\" height=\"" << kPanelHeight << "\" fill=\"none\" stroke=\"#777\"/>\n";
    // Axis titles.
    svg << "<text x=\"" << Coordinate(kLeft + kPlotWidth / 2) << "\" y=\"" << bottom + 34
        << "\" text-anchor=\"middle\">" << EscapeXml(plot.xTitle) << "</text>\n"
        << "<text transform=\"translate(18 " << Coordinate(top + kPanelHeight / 2)
        << ") rotate(-90)\" text-anchor=\"middle\">" << axisTitle << "</text>\n";
    // The series.
    svg << "<polyline fill=\"none\" stroke=\"#1f5fbf\" stroke-width=\"1.2\" points=\"";
    for (const std::size_t i : drawn)
      svg << Coordinate(xAt(plot.x[i])) << ',' << Coordinate(yAt(panel.values[i])) << ' ';
    svg << "\"/>\n";
    if (drawn.size() <= 200) {
      svg << "<g fill=\"#1f5fbf\">\n";
      for (const std::size_t i : drawn)
        svg << "<circle cx=\"" << Coordinate(xAt(plot.x[i])) << "\" cy=\""
            << Coordinate(yAt(panel.values[i])) << "\" r=\"2\"/>\n";
      svg << "</g>\n";
    }
    svg << "</g>\n";
    top = bottom + kPanelGap;
  }
  svg << "</svg>\n";
  return svg.str();
}
