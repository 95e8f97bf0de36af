// quorvane-cli thumbs: shows a folder the way the file browser does, through the thumbnail
// cache, printing how each file's thumbnail was found and optionally writing the cells.
#include <iostream>
#include <optional>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/user_settings.h"
#include "platform/number_text.h"
#include "settings/album_settings.h"
#include "thumbnails/folder_thumbnails.h"
#include "thumbnails/thumbnail_cache.h"
#include "thumbnails/thumbnail_worker.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

}  // namespace

int RunThumbsCommand(std::span<const std::string> args) {
  static constexpr OptionSpec kOptions[] = {{"--cell", true},
                                            {"--cache", true},
                                            {"--out", true},
                                            {"--workers", true},
                                            {"--exif-preview", false}};
  const std::string kUsage = UsageOf("thumbs");
  Arguments parsed;
  std::string error;
  if (!ParseArguments(args, kOptions, &parsed, &error)) return UsageError(error, kUsage);
  if (parsed.positional.size() != 1) return UsageError("expected one folder", kUsage);
  int cell_width = 120;
  int cell_height = 90;
  if (const std::string* cell = parsed.Value("--cell");
      cell != nullptr && !platform::ParseDimensions(*cell, 3, 4096, &cell_width, &cell_height)) {
    return UsageError("--cell takes WxH, 3 to 4096 pixels each", kUsage);
  }
  thumbnails::ThumbnailWorkerOptions options;
  if (const std::string* workers = parsed.Value("--workers")) {
    int64_t threads = 0;
    if (!platform::ParseInteger(*workers, 1, 64, &threads)) {
      return UsageError("--workers takes 1 to 64", kUsage);
    }
    options.threads = static_cast<int>(threads);
  }
  options.use_exif_preview = parsed.Has("--exif-preview");
  const settings::Settings user = LoadSettingsReportingProblems().settings;
  options.mode = settings::ThumbnailOptionsFrom(user).mode;
  const std::string* cache_option = parsed.Value("--cache");
  const fs::path cache_folder = cache_option != nullptr ? *cache_option : user.thumbnail_cache_path;
  std::optional<fs::path> out_folder;
  if (const std::string* out = parsed.Value("--out")) {
    std::error_code ec;
    fs::create_directories(*out, ec);
    if (!fs::is_directory(*out, ec)) return Failure("Unable to create " + *out);
    out_folder = *out;
  }

  thumbnails::ThumbnailCache cache;
  if (!cache.Open(cache_folder)) {
    std::cerr << "quorvane-cli: the thumbnail cache \"" << cache_folder.string()
              << "\" cannot be used; thumbnails are made without it\n";
  }
  thumbnails::ThumbnailWorker worker(&cache, options);
  thumbnails::FolderTally tally;
  const platform::ResultCode result = thumbnails::ShowFolderInOrder(
      worker, parsed.positional[0], cell_width, cell_height,
      [&](thumbnails::ThumbnailCell& cell) {
        if (!out_folder || !cell.image.IsValid()) return;
        const fs::path target = *out_folder / (cell.path.filename().string() + ".png");
        if (!cell.image.Save(target, image::ImageFormat::kPng)) {
          cell.outcome = thumbnails::CellOutcome::kFailed;
          cell.error = cell.image.last_error();
        }
      },
      [](const thumbnails::ThumbnailCell& cell) {
        std::cout << thumbnails::CellOutcomeName(cell.outcome) << ' '
                  << cell.path.filename().string();
        if (cell.outcome == thumbnails::CellOutcome::kFailed) {
          std::cout << ": " << OneLine(cell.error);
        }
        std::cout << '\n';
      },
      platform::NoProgress(), &tally, &error);
  if (result != platform::kOk) return Failure(error);
  cache.Close();
  using thumbnails::CellOutcome;
  std::cerr << tally.files << " files: " << tally.count(CellOutcome::kCached) << " cached, "
            << tally.count(CellOutcome::kMade) << " made, " << tally.count(CellOutcome::kRemade)
            << " remade, " << tally.count(CellOutcome::kFailed) << " failed\n";
  return kExitOk;
}

}  // namespace quorvane::cli
