// quorvane-cli thumbs: shows a folder the way the file browser does, through the thumbnail
// cache, printing how each file's thumbnail was found and optionally writing the cells.
#include <condition_variable>
#include <iostream>
#include <mutex>
#include <optional>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/open_album.h"
#include "cli/user_settings.h"
#include "platform/number_text.h"
#include "thumbnails/thumbnail_cache.h"
#include "thumbnails/thumbnail_worker.h"

namespace quorvane::cli {
namespace {

namespace fs = std::filesystem;

// Cells arrive in any order; lines are printed in listing order as soon as they can be.
struct Results {
  std::mutex mutex;
  std::condition_variable arrived;
  std::vector<std::optional<thumbnails::ThumbnailCell>> cells;
};

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
  options.mode = ThumbnailOptionsFrom(user).mode;
  const std::string* cache_option = parsed.Value("--cache");
  const fs::path cache_folder = cache_option != nullptr ? *cache_option : user.thumbnail_cache_path;
  std::optional<fs::path> out_folder;
  if (const std::string* out = parsed.Value("--out")) {
    std::error_code ec;
    fs::create_directories(*out, ec);
    if (!fs::is_directory(*out, ec)) return Failure("Unable to create " + *out);
    out_folder = *out;
  }

#if defined(__GLIBC__)
  // Decoders take buffers of several MB per photo (a progressive JPEG read at more than 1/8
  // scale holds all its coefficients). Kept in the heap, they are reused from photo to photo
  // instead of being mapped, faulted in and returned each time.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
  thumbnails::ThumbnailCache cache;
  if (!cache.Open(cache_folder)) {
    std::cerr << "quorvane-cli: the thumbnail cache \"" << cache_folder.string()
              << "\" cannot be used; thumbnails are made without it\n";
  }
  Results results;
  thumbnails::ThumbnailWorker worker(&cache, options);
  const bool listed = worker.ShowFolder(
      parsed.positional[0], cell_width, cell_height, [&](thumbnails::ThumbnailCell&& cell) {
        if (out_folder && cell.image.IsValid()) {
          const fs::path target = *out_folder / (cell.path.filename().string() + ".png");
          if (!cell.image.Save(target, image::ImageFormat::kPng)) {
            cell.outcome = thumbnails::CellOutcome::kFailed;
            cell.error = cell.image.last_error();
          }
        }
        std::lock_guard lock(results.mutex);
        const size_t index = cell.index;
        // Cells may come before the list below is sized.
        if (results.cells.size() <= index) results.cells.resize(index + 1);
        results.cells[index] = std::move(cell);
        results.arrived.notify_one();
      });
  if (!listed) return Failure(worker.last_error());
  {
    std::lock_guard lock(results.mutex);
    if (results.cells.size() < worker.files().size()) results.cells.resize(worker.files().size());
  }
  size_t counts[4] = {0, 0, 0, 0};
  for (size_t next = 0; next < worker.files().size(); ++next) {
    std::unique_lock lock(results.mutex);
    results.arrived.wait(lock, [&] { return results.cells[next].has_value(); });
    const thumbnails::ThumbnailCell& cell = *results.cells[next];
    ++counts[static_cast<int>(cell.outcome)];
    std::cout << thumbnails::CellOutcomeName(cell.outcome) << ' ' << cell.path.filename().string();
    if (cell.outcome == thumbnails::CellOutcome::kFailed) std::cout << ": " << OneLine(cell.error);
    std::cout << '\n';
    results.cells[next].reset();
  }
  worker.Wait();
  cache.Close();
  std::cerr << worker.files().size() << " files: " << counts[0] << " cached, " << counts[1]
            << " made, " << counts[2] << " remade, " << counts[3] << " failed\n";
  return kExitOk;
}

}  // namespace quorvane::cli
