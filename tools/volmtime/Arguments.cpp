#include "Arguments.h"

#include <algorithm>
#include <cmath>

Arguments::Arguments(int argc, char** argv, int first, const std::vector<std::string>& flags) {
  for (int i = first; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.rfind("--", 0) != 0) {
      positional_.push_back(argument);
      continue;
    }
    if (std::find(flags.begin(), flags.end(), argument) != flags.end()) {
      options_[argument] = "";
      continue;
    }
    if (i + 1 >= argc) throw UsageError(argument + " needs a value");
    options_[argument] = argv[++i];
  }
}

std::string Arguments::Text(const std::string& option, const std::string& fallback) const {
  const auto found = options_.find(option);
  return found == options_.end() ? fallback : found->second;
}

double Arguments::Number(const std::string& option, double fallback, double minimum,
                         double maximum) const {
  const auto found = options_.find(option);
  if (found == options_.end()) return fallback;
  std::size_t used = 0;
  double value = 0;
  try {
    value = std::stod(found->second, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used != found->second.size() || !std::isfinite(value) || value < minimum || value > maximum) {
    throw UsageError(option + " must be a number from " + std::to_string(minimum) + " to " +
                     std::to_string(maximum) + ", not \"" + found->second + "\"");
  }
  return value;
}

void Arguments::Allow(const std::vector<std::string>& known) const {
  for (const auto& [option, value] : options_) {
    if (std::find(known.begin(), known.end(), option) == known.end()) {
      throw UsageError("unknown option " + option);
    }
  }
}
