// The album header above the album view: the title in bold with the link to the album's
// description editor, the date, the photo count, the album's size on disk and, when asked
// for, the description. The size is read on a worker, since it means a look at every file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include <QColor>
#include <QString>
#include <QThreadPool>

#include "app/html_pane.h"

namespace quorvane::app {

class AlbumDocument;

struct AlbumHeaderValues {
  QString title;
  QString date;  // "YYYY-MM-DD", or empty
  QString description;
  bool show_description = false;
  int photo_count = 0;
  std::optional<int64_t> size_bytes;  // not known yet: not shown
  std::optional<QColor> background;   // "White" when not given
};

// The header's HTML, placeholders substituted.
QString AlbumHeaderHtml(const AlbumHeaderValues& values);

// The bytes of every file the album's photos use (photos and thumbnails). Reads the disk.
int64_t AlbumSizeOnDisk(const std::vector<std::filesystem::path>& files);

class AlbumHeaderPane : public HtmlPane {
  Q_OBJECT
 public:
  explicit AlbumHeaderPane(QWidget* parent = nullptr);
  ~AlbumHeaderPane() override;

  // Shows `document` (null: nothing) and measures its size again.
  void SetDocument(AlbumDocument* document);
  // The album changed: its fields are shown again and its size measured again.
  void Refresh();
  void set_show_description(bool shown);
  bool show_description() const { return show_description_; }
  // The HTML shown, as built (QTextBrowser gives back its own rewriting of it).
  QString html() const;

 signals:
  void SizeMeasured();

 private:
  void Build();

  AlbumDocument* document_ = nullptr;
  bool show_description_ = false;
  std::optional<int64_t> size_;
  int generation_ = 0;
  QThreadPool pool_;
};

}  // namespace quorvane::app
