// Argument parsing shared by the quorvane-cli commands: positional arguments and "--name
// value" options checked against each command's list, and the exit codes every command uses.
#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ole_date.h"

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

// A photo number as people count them (the album's first photo is 1) -> its position in the
// album's list. False unless `text` is a whole number from 1 to `count`.
bool ParsePhotoNumber(std::string_view text, size_t count, size_t* position);

// The usage error for a photo number that names no photo of an album of `count` photos:
// "no photo numbered "7" (the album has 3)".
std::string NoPhotoNumbered(std::string_view text, size_t count);

// The photo numbers `texts` as positions, ascending and each once (the order the album
// operations take them in). On a bad one returns false and sets *problem
// (NoPhotoNumbered).
bool ParsePhotoNumbers(std::span<const std::string> texts, size_t count,
                       std::vector<size_t>* positions, std::string* problem);

// A date option's value: "YYYY-MM-DD" (the forms ParseOleDate takes), or "none" or nothing
// for no date (platform::kNoDate). False for anything else.
bool ParseDateOption(std::string_view text, platform::OleDate* date);

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
