// The file browser's thumbnails: the one place the program drives the thumbnail cache and its
// worker. Folders are listed, the cache file is read and written and cells are decoded off the
// window thread; each cell comes back to the window thread as a queued call, so the window only
// ever copies finished pictures into its model.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <QImage>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>

#include "image/image.h"
#include "settings/settings.h"

namespace quorvane::app {

struct FileBrowserOptions {
  QSize cell{120, 90};  // in device-independent pixels
  image::ResampleMode mode = image::ResampleMode::kBicubic;
  bool use_exif_preview = true;
};

// "options.filebrowser.cellwidth" and "options.filebrowser.cellheight" (16..1024 each),
// "options.filebrowser.exifpreview" (0 or 1) and the album thumbnails' resampling mode
// ("options.thumbnail.resample"); the defaults for what is missing or out of range.
FileBrowserOptions FileBrowserOptionsFrom(const settings::Settings& values);

// One finished cell as the window thread receives it.
struct BrowserCell {
  QImage image;   // cell-sized, white around the thumbnail; null when no thumbnail could be made
  QString error;  // why, when the image is null
  qint64 file_size = -1;  // bytes; -1 when unknown
  QSize source_size;      // the photo's size; invalid when unknown
};

class FileBrowserThumbnails : public QObject {
  Q_OBJECT
 public:
  // Opens the cache in `cache_folder` on a thread of its own (a cache that cannot be opened
  // is disabled: every thumbnail is made from its file). Cells are made at `pixel_ratio`
  // times the option's cell size, for sharp thumbnails on high-density screens.
  FileBrowserThumbnails(std::filesystem::path cache_folder, const FileBrowserOptions& options,
                        qreal pixel_ratio, QObject* parent = nullptr);
  // Stops the work, writes the cache index and waits for the threads. No signal comes after.
  ~FileBrowserThumbnails() override;

  // Replaces the work with `folder`'s: returns a generation number that the Listed and
  // CellReady signals carry, so late cells of an earlier folder can be told apart. Never
  // blocks: listing happens on the owner thread.
  quint64 ShowFolder(const QString& folder);
  // Makes the files [first, first + count) of the generation next (the cells in view).
  void Prioritise(quint64 generation, int first, int count);

  // The cells' size in pixels, and their pixels per device-independent pixel.
  QSize cell_pixels() const { return cell_pixels_; }
  qreal pixel_ratio() const { return pixel_ratio_; }

 signals:
  // The folder's image files in cell order, or an error text when it could not be read.
  // Comes before any CellReady of the same generation.
  void Listed(quint64 generation, const QStringList& files, const QString& error);
  void CellReady(quint64 generation, int index, const quorvane::app::BrowserCell& cell);

 private:
  struct Shared;
  void RunOwner();
  void Post(quint64 generation, int index, BrowserCell cell);

  QSize cell_pixels_;
  qreal pixel_ratio_;
  std::shared_ptr<Shared> shared_;
  std::thread owner_;
};

}  // namespace quorvane::app
