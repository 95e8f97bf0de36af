// The file browser's cells: one row per image file of the shown folder, laid out from the
// folder's listing alone (no file is opened to lay out a row), each row's thumbnail filled in
// as its cell arrives from the thumbnail worker. Drags carry the files as a URI list, for
// albums and the desktop's file manager, and in the browser's own format for drops inside it.
#pragma once

#include <vector>

#include <QAbstractListModel>
#include <QPixmap>
#include <QStringList>

#include "app/file_browser_thumbnails.h"

namespace quorvane::app {

// Files dragged within the file browser: the paths, one per line, UTF-8.
inline constexpr char kFileBrowserInternalFormat[] = "Quorvane_FileBrowser_Internal";

class FileBrowserModel : public QAbstractListModel {
  Q_OBJECT
 public:
  // `thumbnails` outlives the model.
  explicit FileBrowserModel(FileBrowserThumbnails* thumbnails, QObject* parent = nullptr);

  // Empties the list and asks for `folder`'s files; Listed follows once they are known.
  void SetFolder(const QString& folder);
  const QString& folder() const { return folder_; }
  // Asks the worker for the rows [first, first + count) before the others.
  void Prioritise(int first, int count);

  QString FilePath(int row) const;
  // True once the row's cell arrived with a picture.
  bool HasThumbnail(int row) const;
  int thumbnails_arrived() const { return arrived_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override;

 signals:
  // The folder's listing arrived (error empty) or failed.
  void Listed(const QString& error);
  // Every cell of the folder has arrived.
  void AllThumbnailsArrived();

 private:
  struct Row {
    QString path;
    QString name;
    QPixmap picture;  // null until the cell arrives
    bool failed = false;
    QString error;
    qint64 file_size = -1;
    QSize source_size;
  };

  void OnListed(quint64 generation, const QStringList& files, const QString& error);
  void OnCell(quint64 generation, int index, const BrowserCell& cell);
  QString ToolTip(const Row& row) const;

  FileBrowserThumbnails* thumbnails_;
  QString folder_;
  quint64 generation_ = 0;
  std::vector<Row> rows_;
  int arrived_ = 0;
  QPixmap waiting_;   // shown until a cell arrives
  QPixmap no_image_;  // shown for a file that gave no thumbnail
};

}  // namespace quorvane::app
