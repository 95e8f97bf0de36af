// quorvane-cli: every job of Quorvane's core, without a display.
#include <iostream>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"

namespace {

void PrintHelp(std::ostream& out) {
  out << "quorvane-cli: the Quorvane photo-album manager from the command line.\n\nCommands:\n";
  for (const auto& command : quorvane::cli::kCommands) {
    const std::string lines = command.usage();
    std::string_view usage = lines;
    while (!usage.empty()) {
      const size_t end = usage.find('\n');
      out << "  quorvane-cli " << usage.substr(0, end) << '\n';
      usage = end == std::string_view::npos ? std::string_view() : usage.substr(end + 1);
    }
  }
  out << "\nEdit operations (edit, edit-file):\n" << quorvane::cli::EditOperationsHelp();
  out << "\nExit status: 0 done, 1 the job failed, 2 the command line was wrong.\n";
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    PrintHelp(std::cerr);
    return quorvane::cli::kExitUsage;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    PrintHelp(std::cout);
    return quorvane::cli::kExitOk;
  }
  for (const auto& command : quorvane::cli::kCommands) {
    if (command.noun == args[0]) {
      return command.run(std::span<const std::string>(args).subspan(1));
    }
  }
  return quorvane::cli::UsageError("unknown command \"" + args[0] + "\"", "--help");
}
