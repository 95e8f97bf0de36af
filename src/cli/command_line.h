// Argument parsing shared by the quorvane-cli commands: positional arguments and "--name
// value" options checked against each command's list, and the exit codes every command uses.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::cli {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // the job failed; its message went to stderr
inline constexpr int kExitUsage = 2;    // the command line was wrong

struct OptionSpec {
  std::string_view name;  // with the leading "--"
  bool takes_value;
};

struct Arguments {
  std::vector<std::string> positional;
  std::multimap<std::string, std::string, std::less<>> options;  // in command-line order per name

  bool Has(std::string_view name) const { return options.find(name) != options.end(); }
  // The last value given for the option, or null.
  const std::string* Value(std::string_view name) const;
  std::vector<std::string> Values(std::string_view name) const;
};

// Splits `args` into positional arguments and the options in `known`. "--" ends the options.
// On an unknown option or a missing value returns false and sets *error.
bool ParseArguments(std::span<const std::string> args, std::span<const OptionSpec> known,
                    Arguments* out, std::string* error);

// Prints "quorvane-cli: <problem>; usage: quorvane-cli <usage>" on one line to stderr and
// returns kExitUsage.
int UsageError(std::string_view problem, std::string_view usage);

// Prints "quorvane-cli: <message>" to stderr and returns kExitFailure.
int Failure(std::string_view message);

// The text with tabs and line breaks turned into spaces, for listings of one line per item.
std::string OneLine(std::string_view text);

}  // namespace quorvane::cli
