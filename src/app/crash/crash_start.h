// The desktop program's side of crash reports at start-up: the handler installed before
// anything else runs, the list of open albums it records, and where its reports live.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

namespace quorvane::app {

class AlbumDocument;

// The folder of the crash reports in this user's data folder.
std::filesystem::path DesktopCrashReportRoot();

// Installs the crash handler with reports in DesktopCrashReportRoot(); a failure is told on
// stderr and the program goes on without it.
void InstallDesktopCrashHandler(std::string_view version);

// Makes the open albums (in window order) the ones a crash record lists.
void RecordLoadedAlbums(const std::vector<std::unique_ptr<AlbumDocument>>& documents);

}  // namespace quorvane::app
