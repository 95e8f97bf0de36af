// The album view's model: one row per photo of an open album, its caption and its thumbnail.
// Thumbnails are read from the album's "_thumb_" files on worker threads and arrive later; a
// photo whose thumbnail cannot be read shows the no-image cell. Drags carry
// "Quorvane_ImageRef" (this album and the photos' positions) and the photo files as URLs;
// drops of either, or of image files, become requests the album's operations carry out.
#pragma once

#include <memory>
#include <vector>

#include <QAbstractListModel>
#include <QHash>
#include <QImage>
#include <QPixmap>
#include <QSet>
#include <QSize>
#include <QStringList>

class QThreadPool;

namespace quorvane::app {

class AlbumDocument;

inline constexpr char kImageRefFormat[] = "Quorvane_ImageRef";

// A reference to photos of an open album, as the clipboard and drags carry it: the album's
// location, then per photo a line with its position, a tab and its image file's name. The
// name finds the photo again after the album changed since the copy.
struct ImageRef {
  QString album;
  std::vector<size_t> positions;
  QStringList files;
};
QByteArray EncodeImageRef(const ImageRef& ref);
// False for bytes that are not a reference.
bool DecodeImageRef(const QByteArray& bytes, ImageRef* ref);

class AlbumModel : public QAbstractListModel {
  Q_OBJECT
 public:
  enum Roles { kMissingRole = Qt::UserRole + 1, kFileRole };

  explicit AlbumModel(QObject* parent = nullptr);
  ~AlbumModel() override;

  // Shows `document` (null: nothing). Call Refresh after the album changed.
  void SetDocument(AlbumDocument* document);
  AlbumDocument* document() const { return document_; }
  // Reads the album's photos again (on the window thread, while no job uses the album) and
  // forgets the thumbnails, which an edit may have replaced under the same names.
  void Refresh();
  // The cell the album draws its thumbnails in.
  QSize cell_size() const { return cell_; }
  // True while thumbnails are being read.
  bool loading() const { return !pending_.isEmpty(); }

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  Qt::DropActions supportedDropActions() const override;
  Qt::DropActions supportedDragActions() const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                       const QModelIndex& parent) const override;
  // Never changes the rows itself: it asks for the move, copy or add, whose job refreshes the
  // model when done. Returns false so that a view never removes the dragged rows on its own.
  bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                    const QModelIndex& parent) override;
  // A caption typed in place: asked for (CaptionEdited), never written here, so that the
  // change goes through the album's history.
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

  // The clipboard's and drags' data for the photos at `positions`.
  QMimeData* MimeDataFor(const std::vector<size_t>& positions) const;

 signals:
  // Photos of this album dragged to stand before `insert_before`.
  void MoveRequested(const std::vector<size_t>& positions, size_t insert_before);
  // Files dropped from outside, to be added at `position` (-1: at the end).
  void AddRequested(const QStringList& files, int position);
  // Photos of another open album dropped here.
  void CopyRequested(const ImageRef& ref, int position);
  void ThumbnailsLoaded();
  void CaptionEdited(int row, const QString& caption);

 private:
  struct Row {
    QString caption;
    QString file;       // the image file's name in the album
    QString thumbnail;  // where its thumbnail can be read
    QString photo;      // where the photo itself can be read
  };
  // Thumbnails still to be read, shared with the reading threads: the newest request is
  // read first, so the cells in view come before those scrolled past.
  struct Requests;
  void RequestThumbnail(int row) const;
  void OnThumbnail(quint64 generation, int row, const QImage& image);

  AlbumDocument* document_ = nullptr;
  std::vector<Row> rows_;
  QSize cell_{120, 90};
  QPixmap no_image_;
  quint64 generation_ = 0;
  mutable QHash<QString, QPixmap> thumbnails_;
  mutable QSet<QString> pending_;
  mutable QSet<QString> failed_;
  std::shared_ptr<Requests> requests_;
  QThreadPool* pool_;
};

}  // namespace quorvane::app

Q_DECLARE_METATYPE(quorvane::app::ImageRef)
