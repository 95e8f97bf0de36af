// The album view: the current album's thumbnails in cells of the album's cell size with the
// caption below, multiple selection, drag to reorder, drops from the file manager or the file
// browser, and the keys a person expects (arrows, Home/End, Enter opens, Delete removes).
#pragma once

#include <vector>

#include <QListView>

namespace quorvane::app {

class AlbumModel;

class AlbumView : public QListView {
  Q_OBJECT
 public:
  AlbumView(AlbumModel* model, QWidget* parent = nullptr);

  // The selected photos' positions, ascending.
  std::vector<size_t> SelectedPositions() const;
  // Lays the cells out again for the album's cell size.
  void UpdateCellSize();

 signals:
  void OpenRequested(int row);
  void RemoveRequested();

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  AlbumModel* model_;
};

}  // namespace quorvane::app
