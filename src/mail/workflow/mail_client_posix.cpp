#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "mail/workflow/mail_client.h"
#include "platform/file_util.h"

extern char** environ;

namespace quorvane::mail {
namespace {

// xdg-email's exit status when no program handles mail on this desktop.
constexpr int kXdgToolMissing = 3;

bool OnPath(std::string_view program) {
  const char* path = std::getenv("PATH");
  std::string_view rest = path != nullptr ? path : "";
  while (!rest.empty()) {
    const size_t colon = rest.find(':');
    const std::string_view folder = rest.substr(0, colon);
    rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    const std::string candidate =
        std::string(folder.empty() ? "." : folder) + "/" + std::string(program);
    if (::access(candidate.c_str(), X_OK) == 0) return true;
  }
  return false;
}

}  // namespace

ClientResult SendThroughMailClient(const ClientMessage& message, std::string* error) {
  if (!OnPath("xdg-email")) return ClientResult::kNoClient;
  std::vector<std::string> args = {"xdg-email",
                                   "--subject",
                                   message.subject,
                                   "--body",
                                   message.body,
                                   "--attach",
                                   message.attachment.string()};
  for (const std::string& address : message.to) args.push_back(address);
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  // Its complaints while it looks for a mail program (a dozen "not found" lines on a machine
  // without one) are not for the user: the outcome is told by the exit status.
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int spawned = ::posix_spawnp(&pid, "xdg-email", &actions, nullptr, argv.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) {
    *error = "Unable to start xdg-email: " + platform::ErrorText(spawned);
    return ClientResult::kFailed;
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) {
      *error = "Unable to wait for xdg-email: " + platform::ErrorText(errno);
      return ClientResult::kFailed;
    }
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return ClientResult::kHandedOver;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kXdgToolMissing) return ClientResult::kNoClient;
  *error = WIFEXITED(status)
               ? "xdg-email failed with exit status " + std::to_string(WEXITSTATUS(status))
               : std::string("xdg-email was stopped by a signal");
  return ClientResult::kFailed;
}

}  // namespace quorvane::mail
