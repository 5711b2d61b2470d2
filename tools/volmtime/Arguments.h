// The command line of one subcommand: positional values and --options.
#ifndef TOOLS_VOLMTIME_ARGUMENTS_H
#define TOOLS_VOLMTIME_ARGUMENTS_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

// A mistake in the command line; the message says which.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Arguments {
 public:
  // `flags` are options without a value (--help); every other --option takes one.
  Arguments(int argc, char** argv, int first, const std::vector<std::string>& flags);

  [[nodiscard]] bool Has(const std::string& option) const { return options_.count(option) != 0; }
  [[nodiscard]] std::string Text(const std::string& option, const std::string& fallback) const;
  // A number in [minimum, maximum]; UsageError otherwise.
  [[nodiscard]] double Number(const std::string& option, double fallback, double minimum,
                              double maximum) const;
  [[nodiscard]] const std::vector<std::string>& Positional() const { return positional_; }
  // Refuses options other than these.
  void Allow(const std::vector<std::string>& known) const;

 private:
  std::map<std::string, std::string> options_;
  std::vector<std::string> positional_;
};

#endif  // TOOLS_VOLMTIME_ARGUMENTS_H
