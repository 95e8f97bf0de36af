#include "cli/open_album.h"

#include <iostream>
#include <variant>

#include "album/album_index.h"
#include "album/archive_store.h"
#include "album/folder_store.h"
#include "cli/command_line.h"
#include "cli/user_settings.h"

namespace quorvane::cli {

album::ThumbnailOptions UserThumbnailOptions() {
  return ThumbnailOptionsFrom(LoadSettingsReportingProblems().settings);
}

album::ThumbnailOptions ThumbnailOptionsFrom(const settings::Settings& values) {
  album::ThumbnailOptions options;
  auto number = [&](std::string_view name) -> std::optional<int32_t> {
    auto it = values.options.find(name);
    if (it == values.options.end()) return std::nullopt;
    if (const int32_t* value = std::get_if<int32_t>(&it->second)) return *value;
    return std::nullopt;
  };
  if (auto quality = number("options.thumbnail.quality");
      quality && *quality >= 1 && *quality <= 100) {
    options.jpeg_quality = *quality;
  }
  if (auto mode = number("options.thumbnail.resample")) {
    options.mode = image::ResampleModeFromInt(*mode);
  }
  return options;
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
