// ThumbnailWorker: the engine of the file browser view. Given a folder and a cell size it
// lists the image files and makes each file's cell (its thumbnail centred in a white cell)
// through the thumbnail cache on worker threads, visible cells first, handing each cell to a
// callback as soon as it is ready. A new folder or cell size cancels the work still pending.
//
// Thread-safe: call from one owner thread (the view); callbacks run on worker threads and must
// not call back into the worker.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "image/image.h"

namespace quorvane::thumbnails {

class ThumbnailCache;

// How a cell got its thumbnail.
enum class CellOutcome {
  kCached,  // from the cache (fresh, or stale with the source unreadable)
  kMade,    // made from the source; there was no entry
  kRemade,  // made again: the entry was stale
  kFailed,  // no thumbnail: the view shows its failure state
};
std::string_view CellOutcomeName(CellOutcome outcome);  // "cached", "made", "remade", "failed"

struct ThumbnailCell {
  size_t index = 0;  // position in the folder's file list
  std::filesystem::path path;
  CellOutcome outcome = CellOutcome::kFailed;
  image::Image image;    // cell-sized, white around the thumbnail; empty when failed
  std::string error;     // why it failed
  int source_width = 0;  // the photo's size, when known (0 otherwise)
  int source_height = 0;
};

// Makes one file's thumbnail for a cell: fitted into (cell width - 2) x (cell height - 2),
// aspect kept, never enlarged, any alpha flattened onto white. `*source_width/height` get the
// photo's size. False with the reason in *error.
bool MakeCellThumbnail(const std::filesystem::path& path, int cell_width, int cell_height,
                       image::ResampleMode mode, bool use_exif_preview, image::Image* thumbnail,
                       int* source_width, int* source_height, std::string* error);

struct ThumbnailWorkerOptions {
  int threads = 0;  // 0: one per processor
  image::ResampleMode mode = image::ResampleMode::kBicubic;
  bool use_exif_preview = false;  // see Image::LoadThumbnailToFit
  // Workers below the caller's priority: a window's own threads come first.
  bool background = false;
};

class ThumbnailWorker {
 public:
  using ReadyCallback = std::function<void(ThumbnailCell&& cell)>;

  // `cache` must outlive the worker; it may be disabled (then every thumbnail is made).
  explicit ThumbnailWorker(ThumbnailCache* cache, ThumbnailWorkerOptions options = {});
  ~ThumbnailWorker();  // cancels pending work and joins the threads
  ThumbnailWorker(const ThumbnailWorker&) = delete;
  ThumbnailWorker& operator=(const ThumbnailWorker&) = delete;

  // Cancels the current job, lists `folder` and queues every file in listing order; cells go
  // to `on_ready` as they are made. False with last_error() when the folder cannot be read.
  bool ShowFolder(const std::filesystem::path& folder, int cell_width, int cell_height,
                  ReadyCallback on_ready);
  // The current job's files, in listing order (cells refer to them by index).
  const std::vector<std::filesystem::path>& files() const { return files_; }

  // Moves the files [first, first + count) that are still pending to the front of the queue,
  // in order: the cells the view shows now come first.
  void Prioritise(size_t first, size_t count);
  // Drops the pending files and waits for cells being made; after it returns no callback of
  // the cancelled job runs.
  void Cancel();
  // Blocks until every cell of the current job has been delivered.
  void Wait();

  const std::string& last_error() const { return last_error_; }

 private:
  struct Job;
  void Run();
  // Makes the cell of file `index`; a thumbnail made from the source is left in *made for
  // the cache, which stores it once the cell has been delivered.
  ThumbnailCell MakeCell(const Job& job, size_t index, image::Image* made) const;

  ThumbnailCache* cache_;
  ThumbnailWorkerOptions options_;
  std::vector<std::filesystem::path> files_;
  std::string last_error_;

  std::mutex mutex_;  // guards everything below
  std::condition_variable work_ready_;
  std::condition_variable idle_;
  std::shared_ptr<const Job> job_;
  std::deque<size_t> pending_;
  size_t busy_ = 0;
  bool stopping_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace quorvane::thumbnails
