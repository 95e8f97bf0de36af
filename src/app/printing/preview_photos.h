// The photos of the print preview, decoded on worker threads so that the preview opens at once
// and stays responsive: a photo still being decoded is asked for again after Ready().
// Window thread only (the workers hand their pictures back to it).
#pragma once

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <vector>

#include <QImage>
#include <QObject>
#include <QSize>
#include <QThreadPool>

#include "print/page_layout.h"

namespace quorvane::app::printing {

// The resolution the preview decodes photos at: as sharp as a screen needs, but no more than
// keeps every photo of `pages` within a fixed budget of pixels, for the preview holds them all.
int PreviewDpi(const std::vector<print::PageLayout>& pages);

class PreviewPhotos : public QObject {
  Q_OBJECT
 public:
  explicit PreviewPhotos(QObject* parent = nullptr);
  ~PreviewPhotos() override;

  // The photo `photo` (read from `file`) as printed in `placed` at `dpi`; a null image while it
  // is being decoded, or when it cannot be.
  QImage Get(int photo, const std::filesystem::path& file, const print::Rect& placed, int dpi);
  // Forgets every picture and drops the decodes not started yet.
  void Clear();
  // True while decodes are queued or running.
  bool busy() const { return pending_ > 0; }

 signals:
  // Pictures arrived since the preview was last drawn.
  void Ready();

 private:
  struct Entry {
    QSize size;
    QImage picture;
  };
  std::map<int, Entry> entries_;
  QThreadPool pool_;
  // Decodes of an older generation are skipped, and their pictures dropped.
  std::shared_ptr<std::atomic<int>> generation_ = std::make_shared<std::atomic<int>>(0);
  int pending_ = 0;
};

}  // namespace quorvane::app::printing
