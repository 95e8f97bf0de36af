#include "app/album_model.h"

#include <mutex>

#include <QImageReader>
#include <QMimeData>
#include <QPointer>
#include <QThreadPool>
#include <QUrl>

#include "album/cell_bitmaps.h"
#include "album/photo_naming.h"
#include "app/album_document.h"
#include "app/qt_image.h"

namespace quorvane::app {
namespace {

QString FromUtf8(const std::string& text) { return QString::fromStdString(text); }

QString LocalFile(album::Album& album, const std::string& name) {
  const std::filesystem::path path = album.store().LocalPath(name);
  return path.empty() ? QString() : QString::fromStdString(path.string());
}

}  // namespace

QByteArray EncodeImageRef(const ImageRef& ref) {
  QByteArray bytes = ref.album.toUtf8();
  for (size_t i = 0; i < ref.positions.size(); ++i) {
    bytes += "\n" + QByteArray::number(qulonglong(ref.positions[i])) + "\t" +
             ref.files.value(static_cast<qsizetype>(i)).toUtf8();
  }
  return bytes;
}

bool DecodeImageRef(const QByteArray& bytes, ImageRef* ref) {
  const QList<QByteArray> lines = bytes.split('\n');
  if (lines.size() < 2 || lines[0].isEmpty()) return false;
  ImageRef decoded;
  decoded.album = QString::fromUtf8(lines[0]);
  for (qsizetype i = 1; i < lines.size(); ++i) {
    const qsizetype tab = lines[i].indexOf('\t');
    if (tab < 0) return false;
    bool ok = false;
    const qulonglong position = lines[i].left(tab).toULongLong(&ok);
    if (!ok) return false;
    decoded.positions.push_back(static_cast<size_t>(position));
    decoded.files.push_back(QString::fromUtf8(lines[i].mid(tab + 1)));
  }
  *ref = std::move(decoded);
  return true;
}

struct AlbumModel::Requests {
  struct Request {
    quint64 generation;
    int row;
    QString path;
    QSize fit;  // thumbnails larger than this are fitted into it
  };
  std::mutex mutex;
  std::vector<Request> newest_last;
  int readers = 0;
};

// Thumbnails are small files: two readers keep the disk busy without starving the jobs.
constexpr int kThumbnailReaders = 2;

AlbumModel::AlbumModel(QObject* parent)
    : QAbstractListModel(parent),
      requests_(std::make_shared<Requests>()),
      pool_(new QThreadPool(this)) {
  pool_->setMaxThreadCount(kThumbnailReaders);
}

AlbumModel::~AlbumModel() {
  ++generation_;
  {
    std::lock_guard lock(requests_->mutex);
    requests_->newest_last.clear();
  }
  pool_->waitForDone();
}

void AlbumModel::SetDocument(AlbumDocument* document) {
  document_ = document;
  Refresh();
}

void AlbumModel::Refresh() {
  beginResetModel();
  ++generation_;
  {
    std::lock_guard lock(requests_->mutex);
    requests_->newest_last.clear();
  }
  rows_.clear();
  thumbnails_.clear();
  pending_.clear();
  failed_.clear();
  if (document_) {
    album::Album& album = document_->album();
    const QSize cell(album.thumbnail_cell_width(), album.thumbnail_cell_height());
    if (cell != cell_ || no_image_.isNull()) {
      cell_ = cell;
      no_image_ = QPixmap::fromImage(
          ToQImage(album::MakeNoImageBitmap(cell_.width() - 2, cell_.height() - 2)));
    }
    rows_.reserve(album.photos().size());
    for (const album::AlbumPhoto& photo : album.photos()) {
      rows_.push_back({FromUtf8(photo.title.empty() ? photo.image_file : photo.title),
                       FromUtf8(photo.image_file),
                       LocalFile(album, album::ThumbnailName(photo.image_file)),
                       LocalFile(album, photo.image_file)});
    }
  }
  endResetModel();
}

int AlbumModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant AlbumModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const Row& row = rows_[static_cast<size_t>(index.row())];
  switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
      return row.caption;
    case Qt::DecorationRole: {
      if (auto it = thumbnails_.find(row.file); it != thumbnails_.end()) return *it;
      if (failed_.contains(row.file)) return no_image_;
      RequestThumbnail(index.row());
      return {};
    }
    case Qt::EditRole: {
      // The caption itself, which the cell shows as the file name while it is empty.
      const auto& photos = document_->album().photos();
      const size_t at = static_cast<size_t>(index.row());
      return at < photos.size() ? FromUtf8(photos[at].title) : QString();
    }
    case kMissingRole:
      return failed_.contains(row.file);
    case kFileRole:
      return row.file;
    default:
      return {};
  }
}

void AlbumModel::RequestThumbnail(int row) const {
  const Row& entry = rows_[static_cast<size_t>(row)];
  if (pending_.contains(entry.file)) return;
  pending_.insert(entry.file);
  std::lock_guard lock(requests_->mutex);
  requests_->newest_last.push_back({generation_, row, entry.thumbnail, cell_ - QSize(2, 2)});
  if (requests_->readers >= kThumbnailReaders) return;
  ++requests_->readers;
  QPointer<AlbumModel> self = const_cast<AlbumModel*>(this);
  pool_->start([self, requests = requests_] {
    for (;;) {
      Requests::Request request;
      {
        std::lock_guard taking(requests->mutex);
        if (requests->newest_last.empty()) {
          --requests->readers;
          return;
        }
        request = std::move(requests->newest_last.back());
        requests->newest_last.pop_back();
      }
      QImage image;
      if (!request.path.isEmpty()) {
        QImageReader reader(request.path);
        image = reader.read();
        // A thumbnail made for another cell size is fitted, never enlarged.
        const QSize fit = request.fit;
        if (!image.isNull() && (image.width() > fit.width() || image.height() > fit.height())) {
          image = image.scaled(fit, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        }
      }
      // Converted here, so the window thread only wraps it in a pixmap.
      if (!image.isNull()) image = image.convertToFormat(QImage::Format_RGB32);
      QMetaObject::invokeMethod(
          self,
          [self, generation = request.generation, row = request.row, image] {
            if (self) self->OnThumbnail(generation, row, image);
          },
          Qt::QueuedConnection);
    }
  });
}

void AlbumModel::OnThumbnail(quint64 generation, int row, const QImage& image) {
  if (generation != generation_ || row < 0 || static_cast<size_t>(row) >= rows_.size()) return;
  const QString& file = rows_[static_cast<size_t>(row)].file;
  pending_.remove(file);
  if (image.isNull()) {
    failed_.insert(file);
  } else {
    thumbnails_.insert(file, QPixmap::fromImage(image));
  }
  const QModelIndex changed = index(row);
  emit dataChanged(changed, changed, {Qt::DecorationRole, kMissingRole});
  if (pending_.isEmpty()) emit ThumbnailsLoaded();
}

Qt::ItemFlags AlbumModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags base = Qt::ItemIsDropEnabled;
  if (!index.isValid()) return base;
  base |= Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
  if (document_ && !document_->album().read_only()) base |= Qt::ItemIsEditable;
  return base;
}

bool AlbumModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::EditRole || !index.isValid() || index.row() >= rowCount()) return false;
  if (value.toString() == data(index, Qt::EditRole).toString()) return false;
  emit CaptionEdited(index.row(), value.toString());
  return true;
}

Qt::DropActions AlbumModel::supportedDropActions() const { return Qt::MoveAction | Qt::CopyAction; }

Qt::DropActions AlbumModel::supportedDragActions() const { return Qt::MoveAction | Qt::CopyAction; }

QStringList AlbumModel::mimeTypes() const { return {kImageRefFormat, "text/uri-list"}; }

QMimeData* AlbumModel::MimeDataFor(const std::vector<size_t>& positions) const {
  auto* data = new QMimeData;
  if (!document_) return data;
  ImageRef ref{FromUtf8(document_->location()), {}, {}};
  QList<QUrl> urls;
  for (size_t position : positions) {
    if (position >= rows_.size()) continue;
    ref.positions.push_back(position);
    ref.files.push_back(rows_[position].file);
    if (!rows_[position].photo.isEmpty())
      urls.push_back(QUrl::fromLocalFile(rows_[position].photo));
  }
  data->setData(kImageRefFormat, EncodeImageRef(ref));
  data->setUrls(urls);
  return data;
}

QMimeData* AlbumModel::mimeData(const QModelIndexList& indexes) const {
  std::vector<size_t> positions;
  for (const QModelIndex& index : indexes) positions.push_back(static_cast<size_t>(index.row()));
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  return MimeDataFor(positions);
}

bool AlbumModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                 const QModelIndex& parent) const {
  (void)action;
  (void)row;
  (void)column;
  (void)parent;
  if (!document_ || document_->album().read_only()) return false;
  return data->hasFormat(kImageRefFormat) || data->hasUrls();
}

bool AlbumModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                              const QModelIndex& parent) {
  if (!canDropMimeData(data, action, row, column, parent)) return false;
  // Dropped on a cell: before that photo; between cells: at that row; elsewhere: at the end.
  int position = row;
  if (position < 0 && parent.isValid()) position = parent.row();
  ImageRef ref;
  if (data->hasFormat(kImageRefFormat) && DecodeImageRef(data->data(kImageRefFormat), &ref)) {
    if (ref.album == FromUtf8(document_->location())) {
      const size_t before = position < 0 ? rows_.size() : static_cast<size_t>(position);
      emit MoveRequested(ref.positions, before);
    } else {
      emit CopyRequested(ref, position);
    }
    return false;
  }
  QStringList files;
  for (const QUrl& url : data->urls()) {
    if (url.isLocalFile()) files.push_back(url.toLocalFile());
  }
  if (!files.isEmpty()) emit AddRequested(files, position);
  return false;
}

}  // namespace quorvane::app
