// Installing the crash handler and feeding it the open albums.
#include "app/crash/crash_start.h"

#include <cstdio>
#include <string>

#include "app/album_document.h"
#include "crash/crash_handler.h"
#include "crash/crash_report.h"
#include "settings/user_folders.h"

namespace quorvane::app {

std::filesystem::path DesktopCrashReportRoot() {
  return crash::CrashReportRoot(settings::FindUserFolders(settings::ProcessEnvironment()).data);
}

void InstallDesktopCrashHandler(std::string_view version) {
  std::string error;
  if (!crash::InstallCrashHandler(DesktopCrashReportRoot(), version, &error)) {
    std::fprintf(stderr, "quorvane: %s\n", error.c_str());
  }
}

void RecordLoadedAlbums(const std::vector<std::unique_ptr<AlbumDocument>>& documents) {
  std::vector<std::string> locations;
  locations.reserve(documents.size());
  for (const auto& document : documents) locations.push_back(document->location());
  crash::SetLoadedAlbums(locations);
}

}  // namespace quorvane::app
