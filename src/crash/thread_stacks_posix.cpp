// Every thread's stack of a crashed process, from a debugger attached to it by the reporter.
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "crash/crash_report.h"

extern char** environ;

namespace quorvane::crash {
namespace {

std::string FindOnPath(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::string folders = path != nullptr ? path : "/usr/bin:/bin";
  size_t at = 0;
  while (at <= folders.size()) {
    size_t end = folders.find(':', at);
    if (end == std::string::npos) end = folders.size();
    const std::string candidate = folders.substr(at, end - at) + "/" + name;
    if (end > at && access(candidate.c_str(), X_OK) == 0) return candidate;
    at = end + 1;
  }
  return {};
}

}  // namespace

bool CollectThreadStacks(int pid, int timeout_seconds, std::string* stacks, std::string* error) {
  const std::string gdb = FindOnPath("gdb");
  if (gdb.empty()) {
    *error =
        "No debugger (gdb) was found to list the threads; only the crashing thread's "
        "stack is in this report.";
    return false;
  }
  const std::string pid_text = std::to_string(pid);
  std::vector<std::string> args = {gdb,
                                   "-batch",
                                   "-nx",
                                   "-p",
                                   pid_text,
                                   "-ex",
                                   "set pagination off",
                                   "-ex",
                                   "thread apply all bt"};
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);

  int out[2];
  if (pipe(out) != 0) {
    *error = "Unable to start the debugger.";
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  pid_t child = -1;
  const int started = posix_spawn(&child, gdb.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(out[1]);
  if (started != 0) {
    close(out[0]);
    *error = "Unable to start the debugger.";
    return false;
  }

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout_seconds);
  bool timed_out = false;
  char buffer[4096];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      timed_out = true;
      break;
    }
    pollfd ready{out[0], POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(left.count())) < 0) continue;
    const ssize_t got = read(out[0], buffer, sizeof buffer);
    if (got == 0) break;
    if (got > 0) stacks->append(buffer, static_cast<size_t>(got));
  }
  close(out[0]);
  if (timed_out) kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  if (stacks->find("Thread ") == std::string::npos) {
    *error = timed_out ? "The debugger did not list the threads in time."
                       : "The debugger could not list the threads.";
    return false;
  }
  return true;
}

}  // namespace quorvane::crash
