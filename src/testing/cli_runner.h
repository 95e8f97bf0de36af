// Runs the built quorvane-cli in a child process for end-to-end tests and captures what it
// printed and how it exited.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvane::testing {

struct CliResult {
  int exit_code = -1;  // -signal when it was killed
  std::string out;
  std::string err;
};

// Points every folder quorvane-cli finds through the environment (settings, album library,
// thumbnail cache, file browser, data folder, and the home and XDG folders behind them) into
// `folder`, so no run sees the user's own.
void PointUserFoldersInto(const std::filesystem::path& folder);

// Runs quorvane-cli (QUORVANE_CLI in the environment, else the path compiled in) with `args`
// and empty standard input.
CliResult RunCli(const std::vector<std::string>& args);

// Starts one quorvane-cli per entry of `commands` (each as RunCli would), all before waiting
// for any, and returns their results in the same order.
std::vector<CliResult> RunCliTogether(const std::vector<std::vector<std::string>>& commands);

}  // namespace quorvane::testing
