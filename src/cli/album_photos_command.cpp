// quorvane-cli album create|add|remove|export|move|copy: making an album and moving photos in,
// out, within it and to another album, with the progress texts on stderr.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "album/album_archive.h"
#include "album/album_history_records.h"
#include "album/batch_operations.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"
#include "platform/number_text.h"

namespace quorvane::cli {
namespace fs = std::filesystem;
namespace {

// Thumbnail cells and export sizes: beyond this no photo the album accepts needs more.
constexpr int kMaxSide = 65500;

int ReportBatch(const album::BatchResult& result) {
  for (const std::string& failure : result.failures) Failure(failure);
  return result.failures.empty() ? kExitOk : kExitFailure;
}

// Saves, then lets go of the files only the (now ended) undo history needed.
int SaveAndClose(album::Album& album, int status) {
  if (!album::SaveAlbum(album)) return Failure(album.last_error());
  album::ReleaseRetainedFiles(album);
  return status;
}

// Opens the album at `location` and reads `numbers` as photo numbers of it (ParsePhotoNumbers).
// Null after saying why, with the exit code in *exit.
std::unique_ptr<album::Album> OpenWithPhotos(const std::string& location,
                                             std::span<const std::string> numbers,
                                             AlbumAccess access, std::string_view usage,
                                             std::vector<size_t>* positions, int* exit) {
  auto album = OpenAlbum(location, access);
  *exit = kExitFailure;
  if (!album) return nullptr;
  std::string problem;
  if (!ParsePhotoNumbers(numbers, album->photos().size(), positions, &problem)) {
    *exit = UsageError(problem, usage);
    return nullptr;
  }
  return album;
}

}  // namespace

int CreateAlbumCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album create");
  constexpr OptionSpec kOptions[] = {{"--title", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 1) return UsageError("expected one location", usage);
  const fs::path location = parsed.positional[0];
  std::error_code ec;
  if (fs::exists(fs::symlink_status(location, ec)) &&
      !(fs::is_directory(location, ec) && fs::is_empty(location, ec))) {
    return Failure("\"" + location.string() + "\" already exists");
  }
  const bool archive = location.extension() == ".qvo" || location.extension() == ".QVO";
  // An archive is made as a folder beside it first, then packed into place.
  const fs::path folder = archive ? fs::path(location.string() + ".new") : location;
  fs::create_directories(folder, ec);
  if (ec) return Failure("Unable to create " + folder.string() + ": " + ec.message());
  album::Album created(std::make_unique<album::FolderStore>(folder));
  if (const std::string* title = parsed.Value("--title")) created.set_title(*title);
  bool saved = album::SaveAlbum(created);
  if (saved && archive) saved = album::PackAlbumFolder(folder, location, {}, &error);
  if (!saved && error.empty()) error = created.last_error();
  if (archive) fs::remove_all(folder, ec);
  return saved ? kExitOk : Failure(error);
}

int AddPhotosCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album add");
  constexpr OptionSpec kOptions[] = {{"--at", true}, {"--cell", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() < 2) {
    return UsageError("expected an album and at least one file", usage);
  }
  int cell_width = 0, cell_height = 0;
  const std::string* cell = parsed.Value("--cell");
  if (cell != nullptr &&
      !platform::ParseDimensions(*cell, 3, kMaxSide, &cell_width, &cell_height)) {
    return UsageError("--cell takes WIDTHxHEIGHT, each at least 3", usage);
  }
  auto album = OpenAlbum(parsed.positional[0]);
  if (!album) return kExitFailure;
  album->set_thumbnail_options(UserThumbnailOptions());
  if (cell != nullptr) album->set_thumbnail_cell_size(cell_width, cell_height);
  int position = -1;
  if (const std::string* at = parsed.Value("--at")) {
    size_t index = 0;
    // Position N puts the first new photo before the photo now numbered N; one past the end
    // appends.
    if (!ParsePhotoNumber(*at, album->photos().size() + 1, &index)) {
      return UsageError(
          "--at takes a photo number from 1 to " + std::to_string(album->photos().size() + 1),
          usage);
    }
    position = static_cast<int>(index);
  }
  std::vector<fs::path> sources(parsed.positional.begin() + 1, parsed.positional.end());
  StderrProgress progress;
  const album::BatchResult result = album::AddImages(*album, sources, position, progress);
  if (result.done == 0) return ReportBatch(result);
  return SaveAndClose(*album, ReportBatch(result));
}

int RemovePhotosCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album remove");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() < 2) {
    return UsageError("expected an album and at least one photo number", usage);
  }
  std::vector<size_t> positions;
  int exit = kExitOk;
  auto album = OpenWithPhotos(parsed.positional[0], std::span(parsed.positional).subspan(1),
                              AlbumAccess::kChange, usage, &positions, &exit);
  if (!album) return exit;
  StderrProgress progress;
  const album::BatchResult result = album::DeletePhotos(*album, positions, progress, nullptr);
  return SaveAndClose(*album, ReportBatch(result));
}

int ExportPhotoCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album export");
  constexpr OptionSpec kOptions[] = {{"--fit", true}, {"--thumbnail", false}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() != 3) {
    return UsageError("expected an album, a photo number and a folder", usage);
  }
  std::optional<album::FitSize> fit;
  if (const std::string* text = parsed.Value("--fit")) {
    album::FitSize size;
    if (!platform::ParseDimensions(*text, 1, kMaxSide, &size.width, &size.height)) {
      return UsageError("--fit takes WIDTHxHEIGHT", usage);
    }
    fit = size;
  }
  if (fit && parsed.Has("--thumbnail")) {
    return UsageError("--fit and --thumbnail exclude each other", usage);
  }
  auto album = OpenAlbum(parsed.positional[0], AlbumAccess::kRead);
  if (!album) return kExitFailure;
  album->set_thumbnail_options(UserThumbnailOptions());
  size_t index = 0;
  if (!ParsePhotoNumber(parsed.positional[1], album->photos().size(), &index)) {
    return UsageError(NoPhotoNumbered(parsed.positional[1], album->photos().size()), usage);
  }
  const fs::path folder = parsed.positional[2];
  std::error_code ec;
  if (!fs::is_directory(folder, ec)) return Failure("\"" + folder.string() + "\" is not a folder");
  StderrProgress progress;
  const std::string& name = album->photos()[index].image_file;
  const bool copied =
      parsed.Has("--thumbnail")
          ? album::CopyThumbnailOut(*album, index, folder / album::ThumbnailName(name), progress)
          : album::CopyImageOut(*album, index, folder / name, fit, progress);
  return copied ? kExitOk : Failure(album->last_error());
}

int MovePhotosCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album move");
  constexpr OptionSpec kOptions[] = {{"--to", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() < 2) {
    return UsageError("expected an album and at least one photo number", usage);
  }
  const std::string* to = parsed.Value("--to");
  if (to == nullptr) return UsageError("--to N says where the photos go", usage);
  std::vector<size_t> positions;
  int exit = kExitOk;
  auto album = OpenWithPhotos(parsed.positional[0], std::span(parsed.positional).subspan(1),
                              AlbumAccess::kChange, usage, &positions, &exit);
  if (!album) return exit;
  // N is the number the first moved photo takes, the others following it.
  const size_t last_first = album->photos().size() - positions.size() + 1;
  size_t first = 0;
  if (!ParsePhotoNumber(*to, last_first, &first)) {
    return UsageError("--to takes a photo number from 1 to " + std::to_string(last_first), usage);
  }
  if (!album::MovePhotosTo(*album, positions, first)) {
    return Failure("Unable to move the photos");
  }
  return SaveAndClose(*album, kExitOk);
}

int CopyPhotosCommand(std::span<const std::string> args) {
  const std::string usage = UsageOf("album copy");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, usage);
  if (parsed.positional.size() < 3) {
    return UsageError("expected an album, at least one photo number and the other album", usage);
  }
  std::vector<size_t> positions;
  int exit = kExitOk;
  auto from = OpenWithPhotos(parsed.positional.front(),
                             std::span(parsed.positional).subspan(1, parsed.positional.size() - 2),
                             AlbumAccess::kRead, usage, &positions, &exit);
  if (!from) return exit;
  auto to = OpenAlbum(parsed.positional.back());
  if (!to) return kExitFailure;
  to->set_thumbnail_options(UserThumbnailOptions());
  StderrProgress progress;
  const album::BatchResult result = album::CopyPhotosToAlbum(*from, positions, *to, progress);
  if (result.done == 0) return ReportBatch(result);
  return SaveAndClose(*to, ReportBatch(result));
}

}  // namespace quorvane::cli
