#include "cli/open_album.h"

#include <iostream>

#include "album/album_index.h"
#include "album/archive_store.h"
#include "album/folder_store.h"
#include "cli/command_line.h"
#include "cli/user_settings.h"
#include "settings/album_settings.h"

namespace quorvane::cli {

album::ThumbnailOptions UserThumbnailOptions() {
  return settings::ThumbnailOptionsFrom(LoadSettingsReportingProblems().settings);
}

std::unique_ptr<album::Album> OpenAlbum(const std::string& location, AlbumAccess access) {
  std::unique_ptr<album::AlbumStore> store;
  if (album::IsArchivePath(location)) {
    std::string error;
    store = album::ArchiveStore::Open(location, {}, &error);
    if (!store) {
      Failure(error);
      return nullptr;
    }
  } else {
    store = std::make_unique<album::FolderStore>(location);
  }
  auto opened = std::make_unique<album::Album>(std::move(store));
  opened->SetLocation(location);
  if (!album::AlbumIndex::LoadIndex(*opened)) {
    Failure(opened->last_error());
    return nullptr;
  }
  if (!opened->read_only() || access == AlbumAccess::kReadQuietly) return opened;
  const std::string what = "\"" + location + "\" is read-only: " + opened->read_only_reason();
  const std::string offer =
      "save what could be read under a new name with \"quorvane-cli album "
      "save-as " +
      location + " <new-folder|new.qvo>\"";
  if (access == AlbumAccess::kChange) {
    Failure(what + ". Nothing was changed; " + offer);
    return nullptr;
  }
  std::cerr << "quorvane-cli: " << what << ". Only what could be read is shown; " << offer << '\n';
  return opened;
}

}  // namespace quorvane::cli
