// The photo window: one photo of an album at a zoom level (fit, or 25% to 300%), previous and
// next, a rectangle or ellipse selection drawn with the mouse, the photo edits with the
// window's own history and Undo/Redo texts, crop, and the header with the photo's number,
// file name and sizes. It works on a snapshot of the album's photo files, never on the album
// itself, and decodes and edits on workers.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include <QImage>
#include <QWidget>

#include "image/image.h"
#include "imaging/edit_commands.h"
#include "imaging/edit_selection.h"

class QAction;
class QScrollArea;

namespace quorvane::imaging {
class ViewerDocument;
}

namespace quorvane::app {

class HtmlPane;
class JobRunner;

// The photo, drawn at the zoom, and the selection the mouse draws on it.
class PhotoCanvas : public QWidget {
  Q_OBJECT
 public:
  explicit PhotoCanvas(QWidget* parent);
  void SetImage(const QImage& image);
  // 0 fits the photo into `fit_into`; otherwise a percentage.
  void SetZoom(int percent, QSize fit_into);
  int zoom() const { return zoom_; }
  // The size the photo is drawn at.
  QSize display_size() const { return display_; }
  void SetShape(imaging::SelectionShape shape) { shape_ = shape; }
  // In display pixels; empty when nothing is selected.
  imaging::EditSelection selection() const;
  void ClearSelection();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  QImage image_;
  int zoom_ = 0;
  QSize display_;
  imaging::SelectionShape shape_ = imaging::SelectionShape::kRectangle;
  QRect selection_;
  QPoint anchor_;
  bool dragging_ = false;
};

class PhotoViewer : public QWidget {
  Q_OBJECT
 public:
  struct Photo {
    QString path;     // where the photo's file can be read
    QString name;     // its file name in the album
    QString caption;  // its caption in the album; may be empty
  };
  PhotoViewer(std::vector<Photo> photos, int index, QWidget* parent);
  ~PhotoViewer() override;

  // Shows photo `index` (decoded on a worker; PhotoShown follows).
  void ShowPhoto(int index);
  // Runs a command of the photo window's menu (zoom, previous/next, edits, crop, undo/redo).
  void RunCommand(int id);
  QAction* action(int id) const;
  int index() const { return index_; }
  QString header() const;
  PhotoCanvas* canvas() const { return canvas_; }
  JobRunner* job_runner() const { return runner_; }
  // The image as the window's document holds it now (after edits).
  QImage current_image() const { return shown_; }
  // The resampling of the resize edits.
  void set_resample_mode(image::ResampleMode mode) { resample_mode_ = mode; }

  // How edits reach the album: writes `picture` over the photo named `name` and calls `done`
  // once, with true when the album holds it. Without it the window keeps its edits.
  using SaveBack = std::function<void(const QString& name, const image::Image& picture,
                                      std::function<void(bool saved)> done)>;
  void set_save_back(SaveBack save_back) { save_back_ = std::move(save_back); }
  // True while the shown photo has edits that its album does not hold.
  bool has_unsaved_edits() const;
  // Writes the shown photo's edits into the album, then runs `then` (at once when there is
  // nothing to write; not at all when the writing failed). Moving to another photo and closing
  // the window write them first too, so no edit is lost by leaving it.
  void SaveEdits(std::function<void()> then = {});
  // True while edits are on their way into the album.
  bool saving() const { return saving_; }

 signals:
  void PhotoShown(int index);
  void EditFinished(int id, unsigned result);
  // A header link asked for a command the window leaves to the frame (the description).
  void CommandPosted(int id);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void BuildActions();
  void UpdateActions();
  void UpdateHeader();
  void Install(const QImage& image);
  void RunEdit(int id);
  void StartEdit(const imaging::EditCommand& command, const imaging::EditValues& values);

  std::vector<Photo> photos_;
  int index_ = -1;
  std::unique_ptr<imaging::ViewerDocument> document_;
  QImage shown_;
  HtmlPane* header_;
  QScrollArea* scroll_;
  PhotoCanvas* canvas_;
  JobRunner* runner_;
  std::map<int, QAction*> actions_;
  QAction* rectangle_;
  QAction* ellipse_;
  int zoom_ = 0;
  image::ResampleMode resample_mode_ = image::ResampleMode::kBicubic;
  SaveBack save_back_;
  int saved_step_ = -1;  // the history position whose image the album holds
  bool saving_ = false;
  bool discard_ = false;  // the user chose to close without the edits
};

}  // namespace quorvane::app
