#include "settings/user_folders.h"

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
#include <pwd.h>
#include <unistd.h>
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

// One line of user-dirs.dirs: XDG_PICTURES_DIR="$HOME/Pictures". Only "$HOME" is expanded,
// as xdg-user-dirs itself writes no other variable; a value equal to the home folder means
// the user switched the folder off, which leaves the home folder anyway.
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
    if (value.empty() || value.front() != '/') continue;
    return fs::path(value);
  }
  return std::nullopt;
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
  fs::path pictures = home;
  if (auto from_env = Folder(env, "XDG_PICTURES_DIR")) {
    pictures = *from_env;
  } else if (auto from_file = PicturesFromUserDirs(config_home / "user-dirs.dirs", home)) {
    pictures = *from_file;
  }

  UserFolders folders;
  folders.config = Folder(env, "QUORVANE_CONFIG_DIR").value_or(config_home / "Quorvane");
  folders.library = Folder(env, "QUORVANE_LIBRARY_DIR").value_or(pictures / kLibraryFolderName);
  folders.thumbnails =
      Folder(env, "QUORVANE_THUMBNAIL_DIR").value_or(cache_home / "Quorvane" / "Thumbnail");
  folders.browser = Folder(env, "QUORVANE_BROWSER_DIR").value_or(pictures);
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
