#include "app/qt_image.h"

#include <cstring>

namespace quorvane::app {

QImage ToQImage(const image::Image& picture) {
  if (!picture.IsValid()) return {};
  const int channels = picture.channels();
  if (channels != 3 && channels != 4) {
    // Other layouts go pixel by pixel; the image type does not make them today.
    QImage converted(picture.width(), picture.height(), QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
      for (int x = 0; x < picture.width(); ++x) {
        const image::Rgba c = picture.GetPixel(x, y);
        converted.setPixel(x, y, qRgb(c.r, c.g, c.b));
      }
    }
    return converted;
  }
  const bool alpha = channels == 4;
  QImage converted(picture.width(), picture.height(),
                   alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
  if (converted.isNull()) return {};
  const size_t row_bytes = static_cast<size_t>(picture.width()) * static_cast<size_t>(channels);
  for (int y = 0; y < picture.height(); ++y) {
    std::memcpy(converted.scanLine(y), picture.Row(y), row_bytes);
  }
  return converted.convertToFormat(alpha ? QImage::Format_ARGB32_Premultiplied
                                         : QImage::Format_RGB32);
}

image::Image FromQImage(const QImage& picture) {
  image::Image converted;
  if (picture.isNull()) return converted;
  const bool alpha = picture.hasAlphaChannel();
  const QImage rows =
      picture.convertToFormat(alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
  if (!converted.Create(rows.width(), rows.height(), alpha)) return {};
  const size_t row_bytes = static_cast<size_t>(rows.width()) * (alpha ? 4 : 3);
  for (int y = 0; y < rows.height(); ++y) {
    std::memcpy(converted.MutableRow(y), rows.constScanLine(y), row_bytes);
  }
  return converted;
}

}  // namespace quorvane::app
