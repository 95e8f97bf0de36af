// quorvane-cli album create|add|remove|export: making an album and moving photos in and out,
// with the progress texts on stderr.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "album/album_archive.h"
#include "album/batch_operations.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "album/photo_operations.h"
#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/stderr_progress.h"

namespace quorvane::cli {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kCreateUsage = "album create <folder|file.qvo> [--title T]";
constexpr std::string_view kAddUsage = "album add <album> <files...> [--at N] [--cell WxH]";
constexpr std::string_view kRemoveUsage = "album remove <album> <number...>";
constexpr std::string_view kExportUsage =
    "album export <album> <number> <dest-folder> [--fit WxH] [--thumbnail]";

// "120x90" -> 120, 90; both at least `minimum`.
bool ParseSize(const std::string& text, int minimum, int* width, int* height) {
  const size_t x = text.find('x');
  if (x == std::string::npos) return false;
  try {
    size_t used = 0;
    *width = std::stoi(text.substr(0, x), &used);
    if (used != x) return false;
    *height = std::stoi(text.substr(x + 1), &used);
    if (used != text.size() - x - 1) return false;
  } catch (const std::exception&) {
    return false;
  }
  return *width >= minimum && *height >= minimum && *width <= 65500 && *height <= 65500;
}

// A photo number as the user counts (from 1) -> its position.
bool ParseNumber(const std::string& text, size_t count, size_t* position) {
  try {
    size_t used = 0;
    const long number = std::stol(text, &used);
    if (used != text.size() || number < 1 || static_cast<size_t>(number) > count) return false;
    *position = static_cast<size_t>(number - 1);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

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

}  // namespace

int CreateAlbumCommand(std::span<const std::string> args) {
  constexpr OptionSpec kOptions[] = {{"--title", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, kCreateUsage);
  if (parsed.positional.size() != 1) return UsageError("expected one location", kCreateUsage);
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
  constexpr OptionSpec kOptions[] = {{"--at", true}, {"--cell", true}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, kAddUsage);
  if (parsed.positional.size() < 2) {
    return UsageError("expected an album and at least one file", kAddUsage);
  }
  int cell_width = 0, cell_height = 0;
  const std::string* cell = parsed.Value("--cell");
  if (cell != nullptr && !ParseSize(*cell, 3, &cell_width, &cell_height)) {
    return UsageError("--cell takes WIDTHxHEIGHT, each at least 3", kAddUsage);
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
    if (!ParseNumber(*at, album->photos().size() + 1, &index)) {
      return UsageError(
          "--at takes a photo number from 1 to " + std::to_string(album->photos().size() + 1),
          kAddUsage);
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
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, {}, &parsed, &error)) return UsageError(error, kRemoveUsage);
  if (parsed.positional.size() < 2) {
    return UsageError("expected an album and at least one photo number", kRemoveUsage);
  }
  auto album = OpenAlbum(parsed.positional[0]);
  if (!album) return kExitFailure;
  std::vector<size_t> positions;
  for (size_t i = 1; i < parsed.positional.size(); ++i) {
    size_t position = 0;
    if (!ParseNumber(parsed.positional[i], album->photos().size(), &position)) {
      return UsageError("no photo numbered \"" + parsed.positional[i] + "\" (the album has " +
                            std::to_string(album->photos().size()) + ")",
                        kRemoveUsage);
    }
    positions.push_back(position);
  }
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  StderrProgress progress;
  const album::BatchResult result = album::DeletePhotos(*album, positions, progress, nullptr);
  return SaveAndClose(*album, ReportBatch(result));
}

int ExportPhotoCommand(std::span<const std::string> args) {
  constexpr OptionSpec kOptions[] = {{"--fit", true}, {"--thumbnail", false}};
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, kExportUsage);
  if (parsed.positional.size() != 3) {
    return UsageError("expected an album, a photo number and a folder", kExportUsage);
  }
  std::optional<album::FitSize> fit;
  if (const std::string* text = parsed.Value("--fit")) {
    album::FitSize size;
    if (!ParseSize(*text, 1, &size.width, &size.height)) {
      return UsageError("--fit takes WIDTHxHEIGHT", kExportUsage);
    }
    fit = size;
  }
  if (fit && parsed.Has("--thumbnail")) {
    return UsageError("--fit and --thumbnail exclude each other", kExportUsage);
  }
  auto album = OpenAlbum(parsed.positional[0], AlbumAccess::kRead);
  if (!album) return kExitFailure;
  album->set_thumbnail_options(UserThumbnailOptions());
  size_t index = 0;
  if (!ParseNumber(parsed.positional[1], album->photos().size(), &index)) {
    return UsageError("no photo numbered \"" + parsed.positional[1] + "\"", kExportUsage);
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

}  // namespace quorvane::cli
