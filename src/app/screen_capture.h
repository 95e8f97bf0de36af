// Screen capture for "Capture Window..." and "Capture Screen...": the program's window steps
// aside, the screen it was on is grabbed, and for a window the user drags a rectangle around
// it on the frozen picture (a click without a drag takes the whole screen, Escape gives up).
// Grabbing other programs' windows one by one needs the window system's help, which not every
// desktop gives; the frozen picture works wherever the screen can be grabbed at all.
#pragma once

#include <functional>

#include <QImage>
#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QWidget>

namespace quorvane::app {

// The frozen screen on which a rectangle is dragged out.
class RegionPicker : public QWidget {
  Q_OBJECT
 public:
  explicit RegionPicker(const QPixmap& shot);

 signals:
  // The chosen part of the shot in its pixels; empty when the user gave up.
  void Picked(const QImage& picture);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  void Finish(const QImage& picture);

  QPixmap shot_;
  QPoint anchor_;
  QRect chosen_;
  bool dragging_ = false;
  bool finished_ = false;
};

// Hides `window`, grabs its screen, shows it again and, for a region, lets the user pick one;
// then calls `done` with the picture (null when nothing was taken: the screen cannot be
// grabbed here, or the user gave up).
void CaptureScreen(QWidget* window, bool pick_region, std::function<void(const QImage&)> done);

}  // namespace quorvane::app
