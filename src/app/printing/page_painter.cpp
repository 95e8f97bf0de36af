#include "app/printing/page_painter.h"

#include <cmath>

#include <QFont>
#include <QFontMetricsF>
#include <QPaintDevice>
#include <QPainter>
#include <QPen>

#include "print/page_canvas.h"

namespace quorvane::app::printing {
namespace {

// What a photo that is still being decoded (or could not be) shows.
const QColor kPlaceholder(224, 224, 224);

QColor ToQColor(const print::Color& color) { return QColor(color.r, color.g, color.b); }

QFont ToQFont(const print::FontSpec& wanted) {
  QFont font;
  switch (wanted.family) {
    case print::FontFamily::kHelvetica:
      font.setFamily("Helvetica");
      font.setStyleHint(QFont::SansSerif);
      break;
    case print::FontFamily::kTimes:
      font.setFamily("Times");
      font.setStyleHint(QFont::Serif);
      break;
    case print::FontFamily::kCourier:
      font.setFamily("Courier");
      font.setStyleHint(QFont::TypeWriter);
      break;
  }
  font.setPointSizeF(wanted.size);
  font.setBold(wanted.bold);
  font.setItalic(wanted.italic);
  // Outlines, not hinted bitmaps: a printed sheet is scaled, never shown pixel for pixel.
  font.setHintingPreference(QFont::PreferNoHinting);
  return font;
}

class PainterCanvas : public print::PageCanvas {
 public:
  PainterCanvas(QPainter& painter, const PhotoSource& photos)
      : painter_(painter),
        photos_(photos),
        scale_(painter.device()->logicalDpiX() / 72.0),
        scale_y_(painter.device()->logicalDpiY() / 72.0) {}

  void DrawRect(const print::PlacedRect& item) override {
    painter_.save();
    if (item.line_width > 0) {
      QPen pen(ToQColor(item.line_color), item.line_width * scale_);
      pen.setJoinStyle(Qt::MiterJoin);
      pen.setCapStyle(Qt::SquareCap);
      painter_.setPen(pen);
    } else {
      painter_.setPen(Qt::NoPen);
    }
    painter_.setBrush(item.fill ? QBrush(ToQColor(*item.fill)) : QBrush(Qt::NoBrush));
    painter_.drawRect(Device(item.rect));
    painter_.restore();
  }

  void DrawPhoto(size_t index, const print::PlacedPhoto& photo) override {
    const QImage picture = photos_ ? photos_(index, photo) : QImage();
    if (picture.isNull()) {
      painter_.fillRect(Device(photo.placed), kPlaceholder);
      return;
    }
    painter_.drawImage(Device(photo.placed), picture, QRectF(picture.rect()));
  }

  void DrawText(const print::PlacedText& text) override {
    const QString line =
        QString::fromUtf8(text.text.data(), static_cast<qsizetype>(text.text.size()));
    const QFont font(ToQFont(text.font), painter_.device());
    const double natural = QFontMetricsF(font, painter_.device()).horizontalAdvance(line);
    const double wanted = text.width * scale_;
    painter_.save();
    painter_.setFont(font);
    painter_.setPen(ToQColor(text.font.color));
    painter_.translate(text.x * scale_, text.baseline * scale_y_);
    if (natural > 0 && wanted > 0 && std::isfinite(wanted / natural)) {
      painter_.scale(wanted / natural, 1);
    }
    painter_.drawText(QPointF(0, 0), line);
    painter_.restore();
  }

 private:
  QRectF Device(const print::Rect& rect) const {
    return QRectF(rect.left * scale_, rect.top * scale_y_, rect.width * scale_,
                  rect.height * scale_y_);
  }

  QPainter& painter_;
  const PhotoSource& photos_;
  double scale_;
  double scale_y_;
};

}  // namespace

void PaintPage(QPainter& painter, const print::PageLayout& page, const PhotoSource& photos) {
  painter.save();
  painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                         QPainter::SmoothPixmapTransform);
  PainterCanvas canvas(painter, photos);
  print::DrawPage(page, canvas);
  painter.restore();
}

}  // namespace quorvane::app::printing
