#include "album/album_save_as.h"

#include <memory>
#include <random>
#include <string>
#include <system_error>

#include "album/album_archive.h"
#include "album/album_index.h"
#include "album/batch_operations.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"

namespace quorvane::album {
namespace fs = std::filesystem;
namespace {

bool IsArchiveName(const fs::path& path) {
  const std::string extension = path.extension().string();
  return extension.size() == 4 && extension[0] == '.' && (extension[1] | 0x20) == 'q' &&
         (extension[2] | 0x20) == 'v' && (extension[3] | 0x20) == 'o';
}

// Removes what a failed or cancelled save made: the folder it created, or what it put into
// a folder that was there empty.
void Undo(const fs::path& folder, bool made_folder) {
  std::error_code ec;
  if (made_folder) {
    fs::remove_all(folder, ec);
    return;
  }
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    std::error_code ignored;
    fs::remove_all(it->path(), ignored);
  }
}

// Copies the photos and their thumbnails into `copy`, then writes its index.
platform::ResultCode CopyInto(Album& album, Album& copy, platform::ProgressSink& progress) {
  AlbumStore& from = album.store();
  AlbumStore& into = copy.store();
  const auto& photos = album.photos();
  const int64_t total = static_cast<int64_t>(photos.size());
  for (size_t i = 0; i < photos.size(); ++i) {
    if (progress.Cancelled()) return platform::kCancelled;
    const std::string& name = photos[i].image_file;
    progress.SetText(BatchProgressText("Copying", "\"" + name + "\"", static_cast<int>(i + 1),
                                       static_cast<int>(total)));
    progress.SetPosition(static_cast<int64_t>(i), total);
    const fs::path source = from.LocalPath(name);
    if (source.empty() || !into.ImportFile(source, name)) {
      copy.set_last_error(source.empty() ? "Invalid file name \"" + name + "\"" : into.LastError());
      return platform::kFailed;
    }
    // Photos that differ only in their extension share one thumbnail; it is copied once.
    const std::string thumbnail = ThumbnailName(name);
    if (from.FileExists(thumbnail) && !into.FileExists(thumbnail) &&
        !into.ImportFile(from.LocalPath(thumbnail), thumbnail)) {
      copy.set_last_error(into.LastError());
      return platform::kFailed;
    }
  }
  progress.SetPosition(total, total);
  if (!into.Flush()) {
    copy.set_last_error(into.LastError());
    return platform::kFailed;
  }
  return AlbumIndex::SaveIndex(copy) ? platform::kOk : platform::kFailed;
}

}  // namespace

platform::ResultCode SaveAlbumAs(Album& album, const fs::path& target,
                                 platform::ProgressSink& progress) {
  const bool archive = IsArchiveName(target);
  std::error_code ec;
  const bool exists = fs::exists(fs::symlink_status(target, ec));
  if (exists && (archive || !fs::is_directory(target, ec) || !fs::is_empty(target, ec))) {
    album.set_last_error("\"" + target.string() + "\" already exists");
    return platform::kFailed;
  }
  // An archive is made as a folder beside it first, then packed into place.
  const fs::path folder =
      archive ? fs::path(target.string() + "." + std::to_string(std::random_device()()) + ".new")
              : target;
  const bool made_folder = archive || !exists;
  fs::create_directories(folder, ec);
  if (ec) {
    album.set_last_error("Unable to create \"" + folder.string() + "\": " + ec.message());
    return platform::kFailed;
  }

  Album copy(std::make_unique<FolderStore>(folder));
  copy.set_record(album.record());
  platform::ResultCode result = CopyInto(album, copy, progress);
  std::string error = copy.last_error();
  if (result == platform::kOk && archive && !PackAlbumFolder(folder, target, {}, &error)) {
    result = platform::kFailed;
  }
  if (archive || result != platform::kOk) Undo(folder, made_folder);
  if (result == platform::kFailed) album.set_last_error(std::move(error));
  return result;
}

}  // namespace quorvane::album
