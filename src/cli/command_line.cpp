#include "cli/command_line.h"

#include <iostream>

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
