#include "settings/user_folders.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/file_util.h"

#ifdef _WIN32
// The shell header needs the Windows types declared first.
// clang-format off
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <shlobj.h>
// clang-format on
#else
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#endif

namespace quorvane::settings {
namespace fs = std::filesystem;

namespace {

std::optional<fs::path> Folder(const Environment& env, std::string_view name) {
  std::optional<std::string> value = env(name);
  if (!value || value->empty()) return std::nullopt;
  return fs::path(*value);
}

#ifndef _WIN32

fs::path HomeFolder(const Environment& env) {
  if (auto home = Folder(env, "HOME")) return *home;
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr) {
    return entry->pw_dir;
  }
  return fs::current_path();
}

// A pictures folder worth keeping the library in: a real folder path, and not the home folder
// itself (user-dirs.dirs says "$HOME" for a folder the user switched off).
std::optional<fs::path> UsablePictures(const std::string& value, const fs::path& home) {
  if (value.empty() || value.front() != '/') return std::nullopt;
  auto normal = [](const fs::path& path) {
    fs::path result = path.lexically_normal();
    return result.has_filename() || result == result.root_path() ? result : result.parent_path();
  };
  fs::path folder = normal(value);
  if (folder == normal(home)) return std::nullopt;
  return folder;
}

// One line of user-dirs.dirs: XDG_PICTURES_DIR="$HOME/Pictures". Only "$HOME" is expanded,
// as xdg-user-dirs itself writes no other variable.
std::optional<fs::path> PicturesFromUserDirs(const fs::path& file, const fs::path& home) {
  std::string bytes, error;
  if (!platform::ReadWholeFile(file, &bytes, &error)) return std::nullopt;
  constexpr std::string_view kKey = "XDG_PICTURES_DIR=";
  size_t start = 0;
  while (start < bytes.size()) {
    size_t end = bytes.find('\n', start);
    if (end == std::string::npos) end = bytes.size();
    std::string_view line(bytes.data() + start, end - start);
    start = end + 1;
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
    if (line.substr(0, kKey.size()) != kKey) continue;
    line.remove_prefix(kKey.size());
    if (line.size() < 2 || line.front() != '"') continue;
    const size_t close = line.find('"', 1);
    if (close == std::string_view::npos) continue;
    std::string value(line.substr(1, close - 1));
    if (value.rfind("$HOME", 0) == 0) value = home.string() + value.substr(5);
    return UsablePictures(value, home);
  }
  return std::nullopt;
}

// The pictures folder as `xdg-user-dir PICTURES` names it: the desktop's own answer, which also
// follows what user-dirs.dirs may say in shell syntax. Run with only the HOME, XDG_CONFIG_HOME,
// XDG_PICTURES_DIR and PATH of `env`, so the answer belongs to the environment asked about.
// nullopt when the program is not on that PATH, fails, or has not answered within a moment.
std::optional<fs::path> PicturesFromProgram(const Environment& env, const fs::path& home) {
  const std::optional<std::string> path = env("PATH");
  if (!path) return std::nullopt;
  std::string program;
  for (size_t begin = 0; begin <= path->size() && program.empty();) {
    size_t end = path->find(':', begin);
    if (end == std::string::npos) end = path->size();
    const std::string folder = path->substr(begin, end - begin);
    begin = end + 1;
    if (folder.empty() || folder.front() != '/') continue;
    const std::string candidate = folder + "/xdg-user-dir";
    if (::access(candidate.c_str(), X_OK) == 0) program = candidate;
  }
  if (program.empty()) return std::nullopt;

  std::vector<std::string> variables = {"HOME=" + home.string(), "PATH=" + *path};
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_PICTURES_DIR"}) {
    if (std::optional<std::string> value = env(name)) variables.push_back(name + ("=" + *value));
  }
  std::vector<char*> envp;
  for (std::string& variable : variables) envp.push_back(variable.data());
  envp.push_back(nullptr);
  std::string arg0 = program, arg1 = "PICTURES";
  char* argv[] = {arg0.data(), arg1.data(), nullptr};

  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) return std::nullopt;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const int spawned = ::posix_spawn(&child, program.c_str(), &actions, nullptr, argv, envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  if (spawned != 0) {
    ::close(out[0]);
    return std::nullopt;
  }

  // A shell script that answers at once; one that hangs must not hold up the program's start.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  std::string answer;
  bool ended = false;
  while (!ended && answer.size() < 4096) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd ready{out[0], POLLIN, 0};
    if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0) break;
    char buffer[512];
    const ssize_t got = ::read(out[0], buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      ended = true;
    } else {
      answer.append(buffer, static_cast<size_t>(got));
    }
  }
  ::close(out[0]);
  if (!ended) ::kill(child, SIGKILL);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!ended || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
  return UsablePictures(answer, home);
}

// The user's pictures folder: the desktop's answer, else XDG_PICTURES_DIR from the
// environment or from user-dirs.dirs, else ~/Pictures; never the home folder itself, which
// would scatter the program's folders among the user's own.
fs::path PicturesFolder(const Environment& env, const fs::path& home, const fs::path& config_home) {
  if (auto from_program = PicturesFromProgram(env, home)) return *from_program;
  if (auto from_env = env("XDG_PICTURES_DIR")) {
    if (auto usable = UsablePictures(*from_env, home)) return *usable;
  }
  if (auto from_file = PicturesFromUserDirs(config_home / "user-dirs.dirs", home)) {
    return *from_file;
  }
  return home / "Pictures";
}

#endif

}  // namespace

Environment ProcessEnvironment() {
  return [](std::string_view name) -> std::optional<std::string> {
    const char* value = std::getenv(std::string(name).c_str());
    if (value == nullptr) return std::nullopt;
    return std::string(value);
  };
}

#ifndef _WIN32

UserFolders FindUserFolders(const Environment& env) {
  const fs::path home = HomeFolder(env);
  const fs::path config_home = Folder(env, "XDG_CONFIG_HOME").value_or(home / ".config");
  const fs::path cache_home = Folder(env, "XDG_CACHE_HOME").value_or(home / ".cache");
  const std::optional<fs::path> library = Folder(env, "QUORVANE_LIBRARY_DIR");
  const std::optional<fs::path> browser = Folder(env, "QUORVANE_BROWSER_DIR");
  // Asking the desktop starts a program: only when a folder still needs the answer.
  const fs::path pictures =
      library && browser ? fs::path() : PicturesFolder(env, home, config_home);

  UserFolders folders;
  folders.config = Folder(env, "QUORVANE_CONFIG_DIR").value_or(config_home / "Quorvane");
  folders.library = library.value_or(pictures / kLibraryFolderName);
  folders.thumbnails =
      Folder(env, "QUORVANE_THUMBNAIL_DIR").value_or(cache_home / "Quorvane" / "Thumbnail");
  folders.browser = browser.value_or(pictures);
  folders.data =
      Folder(env, "QUORVANE_DATA_DIR")
          .value_or(Folder(env, "XDG_DATA_HOME").value_or(home / ".local" / "share") / "Quorvane");
  return folders;
}

#else

namespace {

fs::path ShellFolder(int csidl) {
  char buffer[MAX_PATH] = {};
  if (SUCCEEDED(::SHGetFolderPathA(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, buffer))) {
    return fs::path(buffer);
  }
  return fs::current_path();
}

fs::path ProgramFolder() {
  char buffer[MAX_PATH] = {};
  const DWORD length = ::GetModuleFileNameA(nullptr, buffer, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return fs::current_path();
  return fs::path(buffer).parent_path();
}

}  // namespace

UserFolders FindUserFolders(const Environment& env) {
  const fs::path app_data = ShellFolder(CSIDL_APPDATA);
  UserFolders folders;
  folders.config = Folder(env, "QUORVANE_CONFIG_DIR").value_or(app_data / "Quorvane");
  folders.library = Folder(env, "QUORVANE_LIBRARY_DIR")
                        .value_or(ShellFolder(CSIDL_PERSONAL) / kLibraryFolderName);
  folders.thumbnails =
      Folder(env, "QUORVANE_THUMBNAIL_DIR").value_or(app_data / "Quorvane" / "Thumbnail");
  folders.browser = Folder(env, "QUORVANE_BROWSER_DIR").value_or(ProgramFolder() / "Sample Photos");
  folders.data = Folder(env, "QUORVANE_DATA_DIR").value_or(app_data / "Quorvane");
  return folders;
}

#endif

std::vector<std::string> MoveDataFilesFromOldFolder(const UserFolders& folders,
                                                    std::span<const std::string_view> names) {
  std::vector<std::string> problems;
  const fs::path old_folder = folders.thumbnails.parent_path();
  std::error_code ec;
  // A data folder that does not exist yet cannot be the old one, which holds the files.
  if (old_folder.empty() || fs::equivalent(old_folder, folders.data, ec)) return problems;
  for (std::string_view name : names) {
    const fs::path from = old_folder / name;
    const fs::path to = folders.data / name;
    if (!fs::is_regular_file(from, ec) || fs::exists(to, ec) || ec) continue;
    std::string error;
    fs::create_directories(folders.data, ec);
    if (!ec) fs::rename(from, to, ec);
    std::error_code gone;
    if (ec == std::errc::no_such_file_or_directory && !fs::exists(from, gone)) {
      continue;  // another run moved it first
    }
    if (ec && ec != std::errc::cross_device_link) {
      error = ec.message();
    } else if (ec) {
      // Another file system: the copy lands whole before the old file goes.
      if (platform::CopyFileAtomically(from, to, &error)) fs::remove(from, ec);
    }
    if (!error.empty()) {
      problems.push_back("Unable to move " + from.string() + " to " + folders.data.string() + ": " +
                         error);
    }
  }
  return problems;
}

}  // namespace quorvane::settings
