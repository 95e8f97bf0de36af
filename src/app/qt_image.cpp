#include "app/qt_image.h"

#include <cstring>

namespace quorvane::app {

QImage ToQImage(const image::Image& picture) {
  if (!picture.IsValid()) return {};
  const int channels = picture.channels();
  QImage::Format format = QImage::Format_RGB888;
  if (channels == 4) {
    format = QImage::Format_RGBA8888;
  } else if (channels != 3) {
    // Grey pictures and others go pixel by pixel; they are rare in albums.
    QImage converted(picture.width(), picture.height(), QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        const image::Rgba c = picture.GetPixel(x, y);
        converted.setPixel(x, y, qRgb(c.r, c.g, c.b));
      }
    }
    return converted;
  }
  QImage converted(picture.width(), picture.height(), format);
  const size_t bytes = static_cast<size_t>(picture.width()) * static_cast<size_t>(channels);
  for (int y = 0; y < picture.height(); ++y) {
    std::memcpy(converted.scanLine(y), picture.Row(y), bytes);
  }
  return converted;
}

}  // namespace quorvane::app
