// What the program does before it opens a window: reading its command line (switches begin
// with "/" or "-"), registering its file types with the desktop ("initialize"), and the rule
// of what a second start hands to the running one. No Qt in the interface.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane::app {

// The window class name; it also names the single-instance socket.
inline constexpr std::string_view kWindowClass = "Quorvane{DBCF2DBF-63BA-47ae-B2FF-3920C6B2D4C6}";

struct StartupRequest {
  bool initialize = false;
  // The last argument that is not a switch: the album or archive to open.
  std::optional<std::string> open;
};

// True when `argument` is "/<name>" or "-<name>" (the name compared ignoring ASCII case). Only
// known names make switches, so a path beginning with "/" is never taken for one.
bool IsSwitch(std::string_view argument, std::string_view name);

// Reads the arguments after the program name.
StartupRequest ParseArguments(const std::vector<std::string>& arguments);

// What "initialize" writes on Linux: the desktop entry, the file types and the icon under the
// user's data folder. `icon_svg` is the icon's bytes.
struct FileTypeRegistration {
  std::filesystem::path desktop_file;  // <data>/applications/quorvane.desktop
  std::filesystem::path mime_package;  // <data>/mime/packages/quorvane.xml
  std::filesystem::path icon_file;     // <data>/icons/hicolor/scalable/apps/quorvane.svg
};

// The desktop entry's text for the program at `program`: it opens one file ("%f"), and lists
// the two file types it handles.
std::string DesktopEntryText(const std::filesystem::path& program);
// The shared-mime-info package: "Quorvane Archive" (*.qvo) and "Quorvane Album Index"
// (index.quorvane, *.quorvane).
std::string MimePackageText();

inline constexpr std::string_view kArchiveMimeType = "application/x-quorvane-archive";
inline constexpr std::string_view kAlbumIndexMimeType = "application/x-quorvane-album-index";

// Writes the three files under `data_home` (folders created as needed, each file replaced
// atomically). False with *error ("Unable to write <file>: <reason>") on the first failure.
bool WriteFileTypeRegistration(const std::filesystem::path& data_home,
                               const std::filesystem::path& program, std::string_view icon_svg,
                               FileTypeRegistration* written, std::string* error);

}  // namespace quorvane::app
