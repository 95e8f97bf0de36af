#include "cli/command_line.h"

#include <algorithm>
#include <iostream>

#include "platform/number_text.h"

namespace quorvane::cli {

const std::string* Arguments::Value(std::string_view name) const {
  auto [first, last] = options.equal_range(name);
  return first == last ? nullptr : &std::prev(last)->second;
}

std::vector<std::string> Arguments::Values(std::string_view name) const {
  std::vector<std::string> values;
  auto [first, last] = options.equal_range(name);
  for (auto it = first; it != last; ++it) values.push_back(it->second);
  return values;
}

bool ParseArguments(std::span<const std::string> args, std::span<const OptionSpec> known,
                    Arguments* out, std::string* error) {
  bool options_done = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (options_done || arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
      out->positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    std::string name = arg, value;
    bool inline_value = false;
    if (const size_t eq = arg.find('='); eq != std::string::npos) {
      name = arg.substr(0, eq);
      value = arg.substr(eq + 1);
      inline_value = true;
    }
    const OptionSpec* option = nullptr;
    for (const OptionSpec& s : known) {
      if (s.name == name) option = &s;
    }
    if (option == nullptr) {
      *error = "unknown option " + name;
      return false;
    }
    if (option->takes_value && !inline_value) {
      if (i + 1 >= args.size()) {
        *error = "option " + name + " needs a value";
        return false;
      }
      value = args[++i];
    } else if (!option->takes_value && inline_value) {
      *error = "option " + name + " takes no value";
      return false;
    }
    out->options.emplace(std::move(name), std::move(value));
  }
  return true;
}

bool ParsePhotoNumber(std::string_view text, size_t count, size_t* position) {
  int64_t number = 0;
  if (!platform::ParseInteger(text, 1, static_cast<int64_t>(count), &number)) return false;
  *position = static_cast<size_t>(number - 1);
  return true;
}

std::string NoPhotoNumbered(std::string_view text, size_t count) {
  return "no photo numbered \"" + std::string(text) + "\" (the album has " + std::to_string(count) +
         ")";
}

bool ParsePhotoNumbers(std::span<const std::string> texts, size_t count,
                       std::vector<size_t>* positions, std::string* problem) {
  for (const std::string& text : texts) {
    size_t position = 0;
    if (!ParsePhotoNumber(text, count, &position)) {
      *problem = NoPhotoNumbered(text, count);
      return false;
    }
    positions->push_back(position);
  }
  std::sort(positions->begin(), positions->end());
  positions->erase(std::unique(positions->begin(), positions->end()), positions->end());
  return true;
}

bool ParseDateOption(std::string_view text, platform::OleDate* date) {
  if (text.empty() || text == "none") {
    *date = platform::kNoDate;
    return true;
  }
  return platform::ParseOleDate(text, date);
}

int UsageError(std::string_view problem, std::string_view usage) {
  std::cerr << "quorvane-cli: " << problem << "; usage: quorvane-cli " << usage << '\n';
  return kExitUsage;
}

std::string OneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

int Failure(std::string_view message) {
  std::cerr << "quorvane-cli: " << message << '\n';
  return kExitFailure;
}

}  // namespace quorvane::cli
