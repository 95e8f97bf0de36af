#include "app/printing/preview_photos.h"

#include <algorithm>
#include <cmath>

#include <QThread>

#include "app/qt_image.h"
#include "print/print_job.h"

namespace quorvane::app::printing {
namespace {

constexpr int kPreviewMaxDpi = 150;
constexpr int kPreviewMinDpi = 36;
// About 200 MB of pixels.
constexpr double kPreviewPixelBudget = 48e6;

}  // namespace

int PreviewDpi(const std::vector<print::PageLayout>& pages) {
  double square_inches = 0;
  for (const auto& page : pages) {
    for (const auto& photo : page.photos) {
      square_inches += photo.placed.width / 72.0 * photo.placed.height / 72.0;
    }
  }
  if (square_inches <= 0) return kPreviewMaxDpi;
  const double fitting = std::sqrt(kPreviewPixelBudget / square_inches);
  return std::clamp(static_cast<int>(fitting), kPreviewMinDpi, kPreviewMaxDpi);
}

PreviewPhotos::PreviewPhotos(QObject* parent) : QObject(parent) {
  // One core stays with the window.
  pool_.setMaxThreadCount(std::max(1, QThread::idealThreadCount() - 1));
}

PreviewPhotos::~PreviewPhotos() {
  ++*generation_;
  pool_.waitForDone();
}

QImage PreviewPhotos::Get(int photo, const std::filesystem::path& file, const print::Rect& placed,
                          int dpi) {
  const QSize size(static_cast<int>(std::ceil(placed.width / 72.0 * dpi)),
                   static_cast<int>(std::ceil(placed.height / 72.0 * dpi)));
  auto it = entries_.find(photo);
  if (it != entries_.end() && it->second.size == size) return it->second.picture;
  entries_[photo] = Entry{size, QImage()};
  ++pending_;
  const int generation = *generation_;
  pool_.start([this, photo, file, placed, dpi, size, generation, current = generation_] {
    QImage decoded;
    if (generation == *current) {  // not forgotten while it waited
      image::Image picture;
      std::string ignored;
      if (print::LoadPrintPhoto(file, placed, dpi, &picture, &ignored)) {
        decoded = ToQImage(picture);
      }
    }
    QMetaObject::invokeMethod(
        this,
        [this, photo, size, generation, decoded] {
          --pending_;
          if (generation != *generation_) return;
          auto found = entries_.find(photo);
          if (found == entries_.end() || found->second.size != size) return;
          found->second.picture = decoded;
          emit Ready();
        },
        Qt::QueuedConnection);
  });
  return {};
}

void PreviewPhotos::Clear() {
  entries_.clear();
  ++*generation_;
}

}  // namespace quorvane::app::printing
