#include "app/file_browser_thumbnails.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>
#include <variant>

#include "app/qt_image.h"
#include "settings/album_settings.h"
#include "thumbnails/thumbnail_cache.h"
#include "thumbnails/thumbnail_worker.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

int OptionNumber(const settings::Settings& values, std::string_view name, int fallback, int low,
                 int high) {
  auto it = values.options.find(name);
  if (it == values.options.end()) return fallback;
  const int32_t* value = std::get_if<int32_t>(&it->second);
  return value != nullptr && *value >= low && *value <= high ? *value : fallback;
}

// What the window needs of a cell, prepared on the worker that made it.
BrowserCell ToBrowserCell(const thumbnails::ThumbnailCell& made) {
  BrowserCell cell;
  std::error_code ec;
  const uintmax_t bytes = fs::file_size(made.path, ec);
  if (!ec) cell.file_size = static_cast<qint64>(bytes);
  if (made.outcome == thumbnails::CellOutcome::kFailed) {
    cell.error = QString::fromStdString(made.error);
    return cell;
  }
  cell.image = ToQImage(made.image);
  if (made.source_width > 0 && made.source_height > 0) {
    cell.source_size = QSize(made.source_width, made.source_height);
  }
  return cell;
}

// Cells of one folder wait until the folder's listing has gone out, so the window never gets a
// cell for a list it has not seen.
struct Gate {
  std::mutex mutex;
  std::condition_variable opened;
  bool open = false;

  void Open() {
    {
      std::lock_guard lock(mutex);
      open = true;
    }
    opened.notify_all();
  }
  void WaitOpen() {
    std::unique_lock lock(mutex);
    opened.wait(lock, [this] { return open; });
  }
};

}  // namespace

FileBrowserOptions FileBrowserOptionsFrom(const settings::Settings& values) {
  FileBrowserOptions options;
  options.cell.setWidth(OptionNumber(values, "options.filebrowser.cellwidth", 120, 16, 1024));
  options.cell.setHeight(OptionNumber(values, "options.filebrowser.cellheight", 90, 16, 1024));
  options.use_exif_preview = OptionNumber(values, "options.filebrowser.exifpreview", 1, 0, 1) != 0;
  options.mode = settings::ThumbnailOptionsFrom(values).mode;
  return options;
}

// What the window thread and the owner thread share; everything below the mutex is guarded.
struct FileBrowserThumbnails::Shared {
  fs::path cache_folder;
  thumbnails::ThumbnailWorkerOptions worker_options;

  std::mutex mutex;
  std::condition_variable wake;
  struct Folder {
    quint64 generation;
    QString path;
  };
  std::optional<Folder> folder;  // the newest folder asked for, not yet taken
  struct Range {
    quint64 generation;
    int first;
    int count;
  };
  std::optional<Range> range;  // the newest range asked for, not yet taken
  quint64 next_generation = 0;
  bool stopping = false;
};

FileBrowserThumbnails::FileBrowserThumbnails(fs::path cache_folder,
                                             const FileBrowserOptions& options, qreal pixel_ratio,
                                             QObject* parent)
    : QObject(parent),
      cell_pixels_(std::max(16, qRound(options.cell.width() * pixel_ratio)),
                   std::max(16, qRound(options.cell.height() * pixel_ratio))),
      pixel_ratio_(static_cast<qreal>(cell_pixels_.width()) / options.cell.width()),
      shared_(std::make_shared<Shared>()) {
  shared_->cache_folder = std::move(cache_folder);
  shared_->worker_options.mode = options.mode;
  shared_->worker_options.use_exif_preview = options.use_exif_preview;
  // The folder tree's reader and the window share the cores with a whole folder's thumbnails.
  shared_->worker_options.background = true;
  owner_ = std::thread([this] { RunOwner(); });
}

FileBrowserThumbnails::~FileBrowserThumbnails() {
  {
    std::lock_guard lock(shared_->mutex);
    shared_->stopping = true;
  }
  shared_->wake.notify_all();
  owner_.join();
}

quint64 FileBrowserThumbnails::ShowFolder(const QString& folder) {
  quint64 generation;
  {
    std::lock_guard lock(shared_->mutex);
    generation = ++shared_->next_generation;
    shared_->folder = Shared::Folder{generation, folder};
    shared_->range.reset();
  }
  shared_->wake.notify_all();
  return generation;
}

void FileBrowserThumbnails::Prioritise(quint64 generation, int first, int count) {
  if (first < 0 || count <= 0) return;
  {
    std::lock_guard lock(shared_->mutex);
    shared_->range = Shared::Range{generation, first, count};
  }
  shared_->wake.notify_all();
}

void FileBrowserThumbnails::Post(quint64 generation, int index, BrowserCell cell) {
  // The object outlives every post: its destructor joins the threads that post.
  QMetaObject::invokeMethod(
      this,
      [this, generation, index, cell = std::move(cell)] {
        emit CellReady(generation, index, cell);
      },
      Qt::QueuedConnection);
}

void FileBrowserThumbnails::RunOwner() {
  // The cache and the worker live on this thread alone: opening the cache reads its index, and
  // a new folder waits for the cells being made for the old one.
  // The image library opens here, beside the window being built, not at the first cell.
  std::string ignored;
  (void)image::OpenImageLibrary(&ignored);
  thumbnails::ThumbnailCache cache;
  cache.Open(shared_->cache_folder);
  auto worker = std::make_unique<thumbnails::ThumbnailWorker>(&cache, shared_->worker_options);
  quint64 current = 0;
  const int cell_width = cell_pixels_.width();
  const int cell_height = cell_pixels_.height();
  // New thumbnails go into the index every few seconds, not only at the end: a program that
  // is killed, or ends with the session, still finds them next time.
  constexpr auto kIndexEvery = std::chrono::seconds(2);
  auto next_index = std::chrono::steady_clock::now() + kIndexEvery;
  std::unique_lock lock(shared_->mutex);
  for (;;) {
    const bool woken = shared_->wake.wait_until(lock, next_index, [&] {
      return shared_->stopping || shared_->folder.has_value() || shared_->range.has_value();
    });
    if (!woken) {
      lock.unlock();
      if (cache.unsaved()) (void)cache.Flush();
      next_index = std::chrono::steady_clock::now() + kIndexEvery;
      lock.lock();
      continue;
    }
    if (shared_->stopping) break;
    if (shared_->folder) {
      const Shared::Folder folder = *std::exchange(shared_->folder, std::nullopt);
      lock.unlock();
      auto gate = std::make_shared<Gate>();
      auto deliver = [this, gate,
                      generation = folder.generation](thumbnails::ThumbnailCell&& made) {
        BrowserCell cell = ToBrowserCell(made);
        gate->WaitOpen();
        Post(generation, static_cast<int>(made.index), std::move(cell));
      };
      const bool listed = worker->ShowFolder(fs::path(folder.path.toStdString()), cell_width,
                                             cell_height, std::move(deliver));
      QStringList files;
      QString error;
      if (listed) {
        files.reserve(static_cast<qsizetype>(worker->files().size()));
        for (const fs::path& file : worker->files())
          files.push_back(QString::fromStdString(file.string()));
      } else {
        error = QString::fromStdString(worker->last_error());
      }
      QMetaObject::invokeMethod(
          this,
          [this, generation = folder.generation, files = std::move(files), error] {
            emit Listed(generation, files, error);
          },
          Qt::QueuedConnection);
      gate->Open();
      current = folder.generation;
      lock.lock();
      continue;
    }
    const Shared::Range range = *std::exchange(shared_->range, std::nullopt);
    lock.unlock();
    if (range.generation == current) {
      worker->Prioritise(static_cast<size_t>(range.first), static_cast<size_t>(range.count));
    }
    lock.lock();
  }
  lock.unlock();
  worker.reset();  // cancels and joins: no cell is posted after this
  cache.Close();
}

}  // namespace quorvane::app
