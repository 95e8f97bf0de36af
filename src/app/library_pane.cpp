#include "app/library_pane.h"

#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QStyle>
#include <QThreadPool>
#include <QVBoxLayout>

namespace quorvane::app {
namespace {

constexpr int kLocationRole = Qt::UserRole + 1;

QString FromUtf8(const std::string& text) { return QString::fromStdString(text); }

// One spelling per folder, so a library entry and the album opened from it meet.
QString PlaceKey(const QString& location) {
  QFileInfo info(location);
  const QString canonical = info.canonicalFilePath();
  return canonical.isEmpty() ? QDir::cleanPath(info.absoluteFilePath()) : canonical;
}

}  // namespace

LibraryPane::LibraryPane(QWidget* parent)
    : QWidget(parent), albums_(std::make_shared<album::AlbumList>()) {
  setObjectName("LibraryPane");
  sort_ = new QComboBox(this);
  for (std::string_view name : album::kSortOrderNames) {
    sort_->addItem(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
  }
  sort_->setToolTip(tr("The order of the albums"));
  // The long order names must not keep the pane wide.
  sort_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  sort_->setMinimumContentsLength(8);
  list_ = new QListWidget(this);
  list_->setObjectName("OpenAlbums");
  list_->setToolTip(tr("My Quorvane Albums: open an album with a double click or Enter"));
  list_->setUniformItemSizes(true);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(sort_);
  layout->addWidget(list_, 1);
  connect(sort_, &QComboBox::currentIndexChanged, this, [this](int order) {
    albums_->SetSortOrder(order);
    Fill();
    emit SortOrderChanged(order);
  });
  connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
    // Walking the list through open albums switches between them; closed ones wait for Enter.
    if (row >= 0 && OpenIndexOf(row) >= 0 && OpenIndexOf(row) != current_) {
      emit OpenRequested(LocationOf(row));
    }
  });
  auto* remove = new QAction(this);
  remove->setShortcut(QKeySequence::Delete);
  remove->setShortcutContext(Qt::WidgetShortcut);
  connect(remove, &QAction::triggered, this, &LibraryPane::DeleteSelected);
  list_->addAction(remove);
  connect(list_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
    emit OpenRequested(item->data(kLocationRole).toString());
  });
}

LibraryPane::~LibraryPane() = default;

void LibraryPane::Reload(const std::string& library, int sort_order) {
  library_ = library;
  sort_->blockSignals(true);
  sort_->setCurrentIndex(sort_order >= 0 && sort_order < sort_->count() ? sort_order : 0);
  sort_->blockSignals(false);
  // A large library is read off the window thread; a newer reload outdates an older one.
  const quint64 generation = ++generation_;
  QPointer<LibraryPane> self = this;
  const int order = sort_->currentIndex();
  QThreadPool::globalInstance()->start([self, library, order, generation] {
    auto albums = std::make_shared<album::AlbumList>();
    albums->Load(library, order);
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [self, albums, generation] {
          if (!self || generation != self->generation_) return;
          self->albums_ = albums;
          self->albums_->SetSortOrder(self->sort_->currentIndex());
          self->Fill();
          emit self->Loaded();
        },
        Qt::QueuedConnection);
  });
}

void LibraryPane::SetOpenAlbums(std::vector<OpenAlbum> open, int current) {
  bool same = current == current_ && open.size() == open_.size();
  for (size_t i = 0; same && i < open.size(); ++i) {
    same = open[i].location == open_[i].location && open[i].title == open_[i].title &&
           open[i].modified == open_[i].modified;
  }
  if (same) return;
  open_ = std::move(open);
  current_ = current;
  Fill();
}

int LibraryPane::sort_order() const { return sort_->currentIndex(); }

QString LibraryPane::LocationOf(int row) const {
  const QListWidgetItem* item = list_->item(row);
  return item ? item->data(kLocationRole).toString() : QString();
}

int LibraryPane::OpenIndexOf(int row) const {
  const QString key = PlaceKey(LocationOf(row));
  for (size_t i = 0; i < open_.size(); ++i) {
    if (PlaceKey(FromUtf8(open_[i].location)) == key) return static_cast<int>(i);
  }
  return -1;
}

void LibraryPane::DeleteSelected() {
  const QString key = PlaceKey(LocationOf(list_->currentRow()));
  if (!make_hooks_ || key.isEmpty()) return;
  for (const album::AlbumListEntry& entry : albums_->entries()) {
    if (PlaceKey(FromUtf8(entry.path)) != key) continue;
    std::string error;
    if (album::DeleteAlbum(entry, make_hooks_(), &error) == album::DeleteOutcome::kFailed) {
      QMessageBox::critical(this, "Quorvane", FromUtf8(error));
      return;
    }
    Reload(library_, sort_order());
    return;
  }
}

void LibraryPane::Fill() {
  list_->blockSignals(true);
  list_->clear();
  std::vector<bool> listed(open_.size(), false);
  const QIcon closed = style()->standardIcon(QStyle::SP_DirIcon);
  auto add = [this, &closed](const QString& text, const QString& location) {
    auto* item = new QListWidgetItem(closed, text, list_);
    item->setData(kLocationRole, location);
    item->setToolTip(location);
    return item;
  };
  for (const album::AlbumListEntry& entry : albums_->entries()) {
    add(FromUtf8(entry.caption), FromUtf8(entry.path));
  }
  for (size_t i = 0; i < open_.size(); ++i) {
    const QString key = PlaceKey(FromUtf8(open_[i].location));
    QListWidgetItem* item = nullptr;
    for (int row = 0; row < list_->count() && !item; ++row) {
      if (PlaceKey(LocationOf(row)) == key) item = list_->item(row);
    }
    if (!item) item = add(open_[i].title, FromUtf8(open_[i].location));
    if (open_[i].modified) item->setText(item->text() + " *");
    QFont bold = item->font();
    bold.setBold(true);
    item->setFont(bold);
    item->setIcon(style()->standardIcon(QStyle::SP_DirOpenIcon));
    item->setToolTip(tr("%1 (open)").arg(item->toolTip()));
    if (static_cast<int>(i) == current_) list_->setCurrentItem(item);
  }
  if (current_ < 0) list_->setCurrentRow(-1);
  list_->blockSignals(false);
}

}  // namespace quorvane::app
