#include "app/file_browser_model.h"

#include <QLocale>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

namespace quorvane::app {
namespace {

// The album view's picture for a photo without one: grey, framed, crossed, labelled.
QPixmap NoImageCell(QSize size, qreal ratio) {
  QPixmap pixmap(size);
  pixmap.setDevicePixelRatio(ratio);
  pixmap.fill(QColor(192, 192, 192));
  QPainter painter(&pixmap);
  painter.setPen(Qt::black);
  const QRect frame(QPoint(0, 0), (pixmap.deviceIndependentSize() - QSizeF(1, 1)).toSize());
  painter.drawRect(frame);
  painter.drawLine(frame.topLeft(), frame.bottomRight());
  painter.drawLine(frame.bottomLeft(), frame.topRight());
  painter.drawText(frame, Qt::AlignCenter, QObject::tr("No Image"));
  return pixmap;
}

QPixmap WaitingCell(QSize size, qreal ratio) {
  QPixmap pixmap(size);
  pixmap.setDevicePixelRatio(ratio);
  pixmap.fill(Qt::white);
  QPainter painter(&pixmap);
  painter.setPen(QColor(220, 220, 220));
  painter.drawRect(QRect(QPoint(0, 0), (pixmap.deviceIndependentSize() - QSizeF(1, 1)).toSize()));
  return pixmap;
}

}  // namespace

FileBrowserModel::FileBrowserModel(FileBrowserThumbnails* thumbnails, QObject* parent)
    : QAbstractListModel(parent),
      thumbnails_(thumbnails),
      waiting_(WaitingCell(thumbnails->cell_pixels(), thumbnails->pixel_ratio())),
      no_image_(NoImageCell(thumbnails->cell_pixels(), thumbnails->pixel_ratio())) {
  connect(thumbnails_, &FileBrowserThumbnails::Listed, this, &FileBrowserModel::OnListed);
  connect(thumbnails_, &FileBrowserThumbnails::CellReady, this, &FileBrowserModel::OnCell);
}

void FileBrowserModel::SetFolder(const QString& folder) {
  beginResetModel();
  folder_ = folder;
  rows_.clear();
  arrived_ = 0;
  generation_ = thumbnails_->ShowFolder(folder);
  endResetModel();
}

void FileBrowserModel::Prioritise(int first, int count) {
  thumbnails_->Prioritise(generation_, first, count);
}

void FileBrowserModel::OnListed(quint64 generation, const QStringList& files,
                                const QString& error) {
  if (generation != generation_) return;
  beginResetModel();
  rows_.clear();
  rows_.resize(static_cast<size_t>(files.size()));
  for (qsizetype i = 0; i < files.size(); ++i) {
    Row& row = rows_[static_cast<size_t>(i)];
    row.path = files[i];
    row.name = files[i].mid(files[i].lastIndexOf('/') + 1);
  }
  endResetModel();
  emit Listed(error);
  if (error.isEmpty() && rows_.empty()) emit AllThumbnailsArrived();
}

void FileBrowserModel::OnCell(quint64 generation, int index, const BrowserCell& cell) {
  if (generation != generation_ || index < 0 || static_cast<size_t>(index) >= rows_.size()) {
    return;
  }
  Row& row = rows_[static_cast<size_t>(index)];
  if (row.picture.isNull() && !row.failed) ++arrived_;
  row.failed = cell.image.isNull();
  row.error = cell.error;
  if (!row.failed) {
    row.picture = QPixmap::fromImage(cell.image);
    row.picture.setDevicePixelRatio(thumbnails_->pixel_ratio());
  }
  row.file_size = cell.file_size;
  row.source_size = cell.source_size;
  const QModelIndex changed = this->index(index);
  emit dataChanged(changed, changed, {Qt::DecorationRole, Qt::ToolTipRole});
  if (arrived_ == rowCount()) emit AllThumbnailsArrived();
}

QString FileBrowserModel::FilePath(int row) const {
  return row >= 0 && static_cast<size_t>(row) < rows_.size() ? rows_[static_cast<size_t>(row)].path
                                                             : QString();
}

bool FileBrowserModel::HasThumbnail(int row) const {
  return row >= 0 && static_cast<size_t>(row) < rows_.size() &&
         !rows_[static_cast<size_t>(row)].picture.isNull();
}

int FileBrowserModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QString FileBrowserModel::ToolTip(const Row& row) const {
  QString tip = row.name;
  if (row.file_size >= 0) {
    tip += "\n" + tr("Size: %1").arg(QLocale().formattedDataSize(row.file_size));
  }
  if (row.source_size.isValid()) {
    tip +=
        "\n" + tr("Dimensions: %1 x %2").arg(row.source_size.width()).arg(row.source_size.height());
  }
  if (row.failed && !row.error.isEmpty()) tip += "\n" + row.error;
  return tip;
}

QVariant FileBrowserModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || static_cast<size_t>(index.row()) >= rows_.size()) return {};
  const Row& row = rows_[static_cast<size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
      return row.name;
    case Qt::DecorationRole:
      if (!row.picture.isNull()) return row.picture;
      return row.failed ? no_image_ : waiting_;
    case Qt::ToolTipRole:
      return ToolTip(row);
    default:
      return {};
  }
}

Qt::ItemFlags FileBrowserModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::NoItemFlags;
  return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList FileBrowserModel::mimeTypes() const {
  return {"text/uri-list", kFileBrowserInternalFormat};
}

QMimeData* FileBrowserModel::mimeData(const QModelIndexList& indexes) const {
  QList<QUrl> urls;
  QStringList paths;
  for (const QModelIndex& index : indexes) {
    const QString path = FilePath(index.row());
    if (path.isEmpty() || paths.contains(path)) continue;
    paths.push_back(path);
    urls.push_back(QUrl::fromLocalFile(path));
  }
  if (paths.isEmpty()) return nullptr;
  auto* data = new QMimeData;
  data->setUrls(urls);
  data->setData(kFileBrowserInternalFormat, paths.join('\n').toUtf8());
  return data;
}

Qt::DropActions FileBrowserModel::supportedDragActions() const {
  return Qt::CopyAction | Qt::MoveAction;
}

}  // namespace quorvane::app
