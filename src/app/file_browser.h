// The file browser pane: a tree of folders beside the chosen folder's image files as
// thumbnails from the thumbnail cache. Files drag out to albums and to the desktop's file
// manager, and onto a folder of the tree to move them there. The folder shown is kept in the
// "filebrowser.path" setting and the splitter under "splitter_filebrowser.".
#pragma once

#include <QThreadPool>
#include <QWidget>

class QFileSystemModel;
class QListView;
class QSplitter;
class QTimer;
class QTreeView;

namespace quorvane::settings {
struct UserSettings;
}

namespace quorvane::app {

class FileBrowserModel;
class FileBrowserThumbnails;

class FileBrowser : public QWidget {
  Q_OBJECT
 public:
  // `user` outlives the browser; its settings give the first folder, the cache folder and the
  // cell options, and its store the splitter position. Shows the first folder at once.
  explicit FileBrowser(settings::UserSettings* user, QWidget* parent = nullptr);
  // Waits for files being moved and for the thumbnail threads; the cache index is written.
  ~FileBrowser() override;

  // Shows `folder` in the tree and its files as cells, and remembers it in the settings.
  void ShowFolder(const QString& folder);
  // Stores the splitter position. False with the store's error in *error.
  bool SaveLayout(QString* error);

  // Moves the files into `folder` off the window thread (a file of the same name there is
  // left alone and reported), then shows the current folder again. MovesDone tells the end.
  void MoveFiles(const QStringList& files, const QString& folder);

  FileBrowserModel* model() const { return model_; }
  QListView* cells() const { return cells_; }
  QTreeView* tree() const { return tree_; }

  // Wide enough for four columns of cells, so a first start shows a grid, not a strip; in a
  // small window a little under half of it.
  QSize sizeHint() const override;

 signals:
  // Enter or a double click on cells: the files chosen.
  void FilesActivated(const QStringList& files);
  // Something went wrong that the user should read, e.g. a folder that cannot be listed.
  void Message(const QString& text);
  // A MoveFiles ended; `problems` holds one line per file left where it was.
  void MovesDone(const QStringList& problems);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void AskForVisibleCells();

  settings::UserSettings* user_;
  QSplitter* splitter_;
  QFileSystemModel* folders_;
  QTreeView* tree_;
  QListView* cells_;
  FileBrowserThumbnails* thumbnails_;
  FileBrowserModel* model_;
  QTimer* visible_timer_;
  QThreadPool moves_;
};

}  // namespace quorvane::app
