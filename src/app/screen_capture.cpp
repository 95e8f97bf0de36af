#include "app/screen_capture.h"

#include <algorithm>
#include <cstdlib>

#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QTimer>

namespace quorvane::app {
namespace {

// Long enough for the window system to take the hidden window off the screen.
constexpr int kStepAsideMs = 400;

}  // namespace

RegionPicker::RegionPicker(const QPixmap& shot)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), shot_(shot) {
  setAttribute(Qt::WA_DeleteOnClose);
  setCursor(Qt::CrossCursor);
  setMouseTracking(true);
}

void RegionPicker::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.drawPixmap(rect(), shot_);
  painter.fillRect(rect(), QColor(0, 0, 0, 96));
  if (!chosen_.isEmpty()) {
    const qreal ratio = shot_.devicePixelRatio();
    const QRect source(chosen_.topLeft() * ratio, chosen_.size() * ratio);
    painter.drawPixmap(chosen_, shot_, source);
    painter.setPen(QPen(palette().highlight().color(), 2));
    painter.drawRect(chosen_.adjusted(0, 0, -1, -1));
  }
  painter.setPen(Qt::white);
  painter.drawText(rect().adjusted(0, 16, 0, 0), Qt::AlignHCenter | Qt::AlignTop,
                   tr("Drag around the window to capture. Click for the whole screen; "
                      "Escape cancels."));
}

void RegionPicker::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    Finish({});
    return;
  }
  QWidget::keyPressEvent(event);
}

void RegionPicker::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  anchor_ = event->position().toPoint();
  dragging_ = true;
  chosen_ = {};
}

void RegionPicker::mouseMoveEvent(QMouseEvent* event) {
  if (!dragging_) return;
  // From the press point up to, not including, the pointer: a drag of 50 pixels takes 50.
  const QPoint at = event->position().toPoint();
  const QPoint top_left(std::min(anchor_.x(), at.x()), std::min(anchor_.y(), at.y()));
  chosen_ = QRect(top_left, QSize(std::abs(at.x() - anchor_.x()), std::abs(at.y() - anchor_.y()))) &
            rect();
  update();
}

void RegionPicker::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || !dragging_) return;
  dragging_ = false;
  // A click (no real drag) takes the whole screen.
  if (chosen_.width() < 4 || chosen_.height() < 4) {
    Finish(shot_.toImage());
    return;
  }
  const qreal ratio = shot_.devicePixelRatio();
  Finish(shot_.copy(QRect(chosen_.topLeft() * ratio, chosen_.size() * ratio)).toImage());
}

void RegionPicker::Finish(const QImage& picture) {
  if (finished_) return;
  finished_ = true;
  emit Picked(picture);
  close();
}

void CaptureScreen(QWidget* window, bool pick_region, std::function<void(const QImage&)> done) {
  QPointer<QWidget> owner = window;
  const bool was_visible = window->isVisible();
  window->hide();
  QTimer::singleShot(kStepAsideMs, window, [owner, was_visible, pick_region, done] {
    QScreen* screen = owner->screen() ? owner->screen() : QGuiApplication::primaryScreen();
    const QPixmap shot = screen ? screen->grabWindow(0) : QPixmap();
    if (was_visible) owner->show();
    if (shot.isNull() || !pick_region) {
      done(shot.toImage());
      return;
    }
    auto* picker = new RegionPicker(shot);
    QObject::connect(picker, &RegionPicker::Picked, owner,
                     [done](const QImage& picture) { done(picture); });
    picker->setGeometry(screen->geometry());
    picker->showFullScreen();
    picker->activateWindow();
  });
}

}  // namespace quorvane::app
