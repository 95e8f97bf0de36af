// Where the settings, the album library, the thumbnail cache, the file browser and the
// program's own data files live by default for this user, and the environment variables
// that move them (for tests and portable installs):
//
//   QUORVANE_CONFIG_DIR     folder of the settings file (any platform; on Windows it
//                           replaces the registry with the file)
//   QUORVANE_LIBRARY_DIR    default of "myphotoalbums.path"
//   QUORVANE_THUMBNAIL_DIR  default of "thumbnail_cache.path"
//   QUORVANE_BROWSER_DIR    default of "filebrowser.path"
//   QUORVANE_DATA_DIR       the data folder (kept search results, search caches)
//
// Without them, on Linux: settings in $XDG_CONFIG_HOME/Quorvane (else ~/.config/Quorvane),
// the library "My Quorvane Albums" in the pictures folder (what `xdg-user-dir PICTURES`
// answers, else XDG_PICTURES_DIR from the environment or from user-dirs.dirs, else ~/Pictures;
// never the home folder itself), the thumbnail cache in
// $XDG_CACHE_HOME/Quorvane/Thumbnail (else ~/.cache/...), the file browser in the pictures
// folder, the data folder $XDG_DATA_HOME/Quorvane (else ~/.local/share/Quorvane). On
// Windows: Documents, the application-data folder (whose "Quorvane" is also the data folder)
// and "Sample Photos" beside the program.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::settings {

// Looks up one environment variable; nullopt when it is unset. Empty values count as unset
// wherever a folder is looked up.
using Environment = std::function<std::optional<std::string>(std::string_view name)>;

// The process's own environment.
Environment ProcessEnvironment();

inline constexpr std::string_view kSettingsFileName = "settings.conf";
inline constexpr std::string_view kLibraryFolderName = "My Quorvane Albums";

struct UserFolders {
  std::filesystem::path config;      // holds kSettingsFileName
  std::filesystem::path library;     // the album library
  std::filesystem::path thumbnails;  // the file browser's thumbnail cache
  std::filesystem::path browser;     // the file browser's first folder
  std::filesystem::path data;        // the program's own files (not the user's documents)
};

// The default folders for `env`. Never fails: a missing home folder falls back to the
// current folder. On Linux it may run xdg-user-dir from the PATH of `env` (with that
// environment, for two seconds at most) when the library or browser folder is not given.
UserFolders FindUserFolders(const Environment& env);

// Data files were once kept in the parent of `folders.thumbnails`. Moves each file of `names`
// from there into `folders.data` (created when missing) when the two folders differ, the old
// file exists and the data folder has no file of that name yet; so each moves at most once
// and a newer file is never replaced. Returns one "Unable to move %s to %s: %s" (old file,
// data folder, reason) per file left behind.
std::vector<std::string> MoveDataFilesFromOldFolder(const UserFolders& folders,
                                                    std::span<const std::string_view> names);

}  // namespace quorvane::settings
