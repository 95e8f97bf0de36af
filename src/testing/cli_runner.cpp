#include "testing/cli_runner.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::testing {

void PointUserFoldersInto(const std::filesystem::path& folder) {
  // The home and XDG folders too, so a folder the program finds some other way still lands
  // in the test's own.
  for (const auto& [name, below] : {std::pair{"QUORVANE_CONFIG_DIR", "config"},
                                    {"QUORVANE_LIBRARY_DIR", "albums"},
                                    {"QUORVANE_THUMBNAIL_DIR", "cache/Thumbnail"},
                                    {"QUORVANE_BROWSER_DIR", "pictures"},
                                    {"QUORVANE_DATA_DIR", "data"},
                                    {"HOME", "home"},
                                    {"XDG_CONFIG_HOME", "home/.config"},
                                    {"XDG_CACHE_HOME", "home/.cache"},
                                    {"XDG_DATA_HOME", "home/.local/share"}}) {
    ::setenv(name, (folder / below).c_str(), 1);
  }
}

namespace {

std::string Program() {
  const char* from_env = std::getenv("QUORVANE_CLI");
  return from_env != nullptr ? from_env : QUORVANE_CLI_PATH;
}

// Starts quorvane-cli with `args`, its output going to `out_path` and `err_path`; -1 when
// the process could not be made.
pid_t Start(const std::string& program, const std::vector<std::string>& args,
            const std::string& out_path, const std::string& err_path) {
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(program.c_str()));
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);

  const pid_t pid = ::fork();
  if (pid == 0) {
    const int in = ::open("/dev/null", O_RDONLY);
    const int out = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = ::open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out < 0 || err < 0) ::_exit(127);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::dup2(err, 2);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }
  return pid;
}

CliResult Finish(const std::string& program, pid_t pid, const std::string& out_path,
                 const std::string& err_path) {
  CliResult result;
  int status = 0;
  if (pid < 0 || ::waitpid(pid, &status, 0) != pid) {
    ADD_FAILURE() << "cannot run " << program;
    return result;
  }
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  result.out = ReadTextFile(out_path);
  result.err = ReadTextFile(err_path);
  return result;
}

}  // namespace

CliResult RunCli(const std::vector<std::string>& args) { return RunCliTogether({args}).front(); }

std::vector<CliResult> RunCliTogether(const std::vector<std::vector<std::string>>& commands) {
  const std::string program = Program();
  TempDir capture;
  auto out_path = [&](size_t i) { return (capture / ("out" + std::to_string(i))).string(); };
  auto err_path = [&](size_t i) { return (capture / ("err" + std::to_string(i))).string(); };
  std::vector<pid_t> started;
  for (size_t i = 0; i < commands.size(); ++i) {
    started.push_back(Start(program, commands[i], out_path(i), err_path(i)));
  }
  std::vector<CliResult> results;
  for (size_t i = 0; i < started.size(); ++i) {
    results.push_back(Finish(program, started[i], out_path(i), err_path(i)));
  }
  return results;
}

}  // namespace quorvane::testing
