#include "thumbnails/thumbnail_worker.h"

#include <algorithm>
#include <mutex>
#include <utility>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "album/cell_bitmaps.h"
#include "platform/thread_priority.h"
#include "thumbnails/image_files.h"
#include "thumbnails/thumbnail_cache.h"

namespace quorvane::thumbnails {

namespace fs = std::filesystem;
using image::Image;

std::string_view CellOutcomeName(CellOutcome outcome) {
  switch (outcome) {
    case CellOutcome::kCached:
      return "cached";
    case CellOutcome::kMade:
      return "made";
    case CellOutcome::kRemade:
      return "remade";
    case CellOutcome::kFailed:
      break;
  }
  return "failed";
}

bool MakeCellThumbnail(const fs::path& path, int cell_width, int cell_height,
                       image::ResampleMode mode, bool use_exif_preview, Image* thumbnail,
                       int* source_width, int* source_height, std::string* error) {
  // Thumbnails fit two pixels inside their cell.
  image::ThumbnailSource source;
  if (!thumbnail->LoadThumbnailToFit(path, cell_width - 2, cell_height - 2, mode, &source,
                                     use_exif_preview)) {
    *error = thumbnail->last_error();
    return false;
  }
  // Thumbnails are JPEGs and cells are white: any alpha is blended onto white now.
  if (thumbnail->has_alpha()) {
    *thumbnail = album::MakeCellBitmap(*thumbnail, thumbnail->width(), thumbnail->height());
    if (!thumbnail->IsValid()) {
      *error = "Cannot make the thumbnail: out of memory";
      return false;
    }
  }
  *source_width = source.width;
  *source_height = source.height;
  return true;
}

namespace {

void TuneHeapForDecoding() {
#if defined(__GLIBC__)
  // Decoders take buffers of several MB per photo (a progressive JPEG read at more than 1/8
  // scale holds all its coefficients). Kept in the heap, they are reused from photo to photo
  // instead of being mapped, faulted in and returned each time. The setting is the process's:
  // made once, by the first worker.
  static std::once_flag tuned;
  std::call_once(tuned, [] {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
  });
#endif
}

}  // namespace

struct ThumbnailWorker::Job {
  std::shared_ptr<const std::vector<fs::path>> files;
  int cell_width = 0;
  int cell_height = 0;
  ReadyCallback on_ready;
};

ThumbnailWorker::ThumbnailWorker(ThumbnailCache* cache, ThumbnailWorkerOptions options)
    : cache_(cache), options_(options) {
  TuneHeapForDecoding();
  int count = options_.threads;
  if (count <= 0) count = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  for (int i = 0; i < count; ++i) {
    threads_.emplace_back([this] {
      if (options_.background) platform::LowerCurrentThreadPriority();
      Run();
    });
  }
}

ThumbnailWorker::~ThumbnailWorker() {
  Cancel();
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  work_ready_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool ThumbnailWorker::ShowFolder(const fs::path& folder, int cell_width, int cell_height,
                                 ReadyCallback on_ready) {
  Cancel();
  std::vector<fs::path> files;
  if (!ListImageFiles(folder, &files, &last_error_)) return false;
  files_ = files;
  auto job = std::make_shared<Job>();
  job->files = std::make_shared<const std::vector<fs::path>>(std::move(files));
  job->cell_width = cell_width;
  job->cell_height = cell_height;
  job->on_ready = std::move(on_ready);
  {
    std::lock_guard lock(mutex_);
    job_ = std::move(job);
    for (size_t i = 0; i < files_.size(); ++i) pending_.push_back(i);
  }
  work_ready_.notify_all();
  return true;
}

void ThumbnailWorker::Prioritise(size_t first, size_t count) {
  std::lock_guard lock(mutex_);
  const size_t start = std::min(first, files_.size());
  const size_t end = start + std::min(count, files_.size() - start);
  std::stable_partition(pending_.begin(), pending_.end(),
                        [&](size_t index) { return index >= start && index < end; });
}

void ThumbnailWorker::Cancel() {
  std::unique_lock lock(mutex_);
  pending_.clear();
  job_.reset();
  idle_.wait(lock, [&] { return busy_ == 0; });
}

void ThumbnailWorker::Wait() {
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [&] { return busy_ == 0 && pending_.empty(); });
}

void ThumbnailWorker::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    work_ready_.wait(lock, [&] { return stopping_ || !pending_.empty(); });
    if (stopping_) return;
    const size_t index = pending_.front();
    pending_.pop_front();
    std::shared_ptr<const Job> job = job_;
    ++busy_;
    lock.unlock();
    Image made;
    ThumbnailCell cell = MakeCell(*job, index, &made);
    const std::string path_text = cell.path.string();
    const int source_width = cell.source_width;
    const int source_height = cell.source_height;
    // Cancel waits for busy workers, so a cell of a cancelled job is delivered before Cancel
    // returns or, once the job is gone, not at all.
    lock.lock();
    const bool current = job_ == job;
    lock.unlock();
    if (current) job->on_ready(std::move(cell));
    // Stored after the cell went out: the view does not wait for the encoding and the write.
    // A thumbnail that cannot be stored was still shown; the next run makes it again.
    if (made.IsValid()) {
      (void)cache_->Add(path_text, made, job->cell_width, job->cell_height, source_width,
                        source_height);
    }
    lock.lock();
    if (--busy_ == 0 && pending_.empty()) idle_.notify_all();
  }
}

ThumbnailCell ThumbnailWorker::MakeCell(const Job& job, size_t index, Image* made) const {
  ThumbnailCell cell;
  cell.index = index;
  cell.path = (*job.files)[index];
  const std::optional<ThumbnailCacheEntry> entry = cache_->Lookup(cell.path.string());
  if (entry.has_value()) {
    cell.source_width = entry->cx;
    cell.source_height = entry->cy;
  }
  Image thumbnail;
  if (entry.has_value() && !ThumbnailCache::IsStale(*entry, job.cell_width, job.cell_height)) {
    if (cache_->LoadThumbnail(*entry, &thumbnail)) {
      cell.outcome = CellOutcome::kCached;
    } else {
      cell.error = thumbnail.last_error();
    }
  } else if (MakeCellThumbnail(cell.path, job.cell_width, job.cell_height, options_.mode,
                               options_.use_exif_preview, &thumbnail, &cell.source_width,
                               &cell.source_height, &cell.error)) {
    cell.outcome = entry.has_value() ? CellOutcome::kRemade : CellOutcome::kMade;
    *made = thumbnail;
  } else if (entry.has_value() && cache_->LoadThumbnail(*entry, &thumbnail)) {
    // The source cannot be decoded any more: the older thumbnail is better than none.
    cell.outcome = CellOutcome::kCached;
    cell.error.clear();
  }
  if (cell.outcome != CellOutcome::kFailed) {
    cell.image = album::MakeCellBitmap(thumbnail, job.cell_width, job.cell_height);
    if (!cell.image.IsValid()) {
      cell.outcome = CellOutcome::kFailed;
      cell.error = "Cannot make a cell of " + std::to_string(job.cell_width) + " x " +
                   std::to_string(job.cell_height) + " pixels";
    }
  }
  return cell;
}

}  // namespace quorvane::thumbnails
