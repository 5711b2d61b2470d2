#include "Svg.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace {
constexpr double kWidth = 800;
constexpr double kPanelHeight = 220;
constexpr double kMargin = 50;
}  // namespace

std::string DrawPanels(const std::string& title, const std::vector<Series>& panels) {
  std::ostringstream svg;
  const double height = kMargin + static_cast<double>(panels.size()) * (kPanelHeight + kMargin);
  svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth << "\" height=\"" << height
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      << "<text x=\"" << kMargin << "\" y=\"24\" font-size=\"16\">" << title << "</text>\n";
  double top = kMargin;
  for (const Series& series : panels) {
    const auto [low, high] =
        series.values.empty() ? std::pair<double, double>{0, 1}
                              : std::pair<double, double>{
                                    *std::min_element(series.values.begin(), series.values.end()),
                                    *std::max_element(series.values.begin(), series.values.end())};
    const double span = high > low ? high - low : 1.0;
    const double plotWidth = kWidth - 2 * kMargin;
    svg << "<rect x=\"" << kMargin << "\" y=\"" << top << "\" width=\"" << plotWidth
        << "\" height=\"" << kPanelHeight << "\" fill=\"none\" stroke=\"#999\"/>\n";
    char label[160];
    std::snprintf(label, sizeof label, "%s (%s): %.4g to %.4g", series.title.c_str(),
                  series.unit.c_str(), low, high);
    svg << "<text x=\"" << kMargin << "\" y=\"" << top - 6 << "\">" << label
        << "</text>\n<polyline fill=\"none\" stroke=\"#1f5fbf\" points=\"";
    const double count = static_cast<double>(
        std::max<std::size_t>(series.values.size() - (series.values.empty() ? 0 : 1), 1));
    for (std::size_t i = 0; i < series.values.size(); ++i) {
      const double x = kMargin + plotWidth * static_cast<double>(i) / count;
      const double y = top + kPanelHeight - kPanelHeight * (series.values[i] - low) / span;
      svg << x << ',' << y << ' ';
    }
    svg << "\"/>\n";
    top += kPanelHeight + kMargin;
  }
  svg << "</svg>\n";
  return svg.str();
}
