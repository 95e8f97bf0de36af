#include "app/file_browser.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <QAbstractFileIconProvider>
#include <QApplication>
#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFileSystemModel>
#include <QHeaderView>
#include <QListView>
#include <QMimeData>
#include <QScrollBar>
#include <QSplitter>
#include <QStyle>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/file_browser_model.h"
#include "app/file_browser_thumbnails.h"
#include "settings/layout.h"
#include "settings/settings.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

fs::path ToPath(const QString& text) { return fs::path(text.toStdString()); }

// Room under each cell for one line of its file name.
QSize GridSize(QSize cell, const QFontMetrics& metrics) {
  return {cell.width() + 12, cell.height() + metrics.height() + 10};
}

// Moves one file into `folder`, never over another; copies and removes across file systems.
QString MoveOne(const fs::path& source, const fs::path& folder) {
  const fs::path target = folder / source.filename();
  std::error_code ec;
  if (fs::exists(target, ec)) {
    return QObject::tr("%1 is already in %2")
        .arg(QString::fromStdString(source.filename().string()),
             QString::fromStdString(folder.string()));
  }
  fs::rename(source, target, ec);
  if (ec == std::errc::cross_device_link) {
    ec.clear();
    if (fs::copy_file(source, target, fs::copy_options::none, ec)) fs::remove(source, ec);
  }
  if (!ec) return {};
  return QObject::tr("Unable to move %1: %2")
      .arg(QString::fromStdString(source.string()), QString::fromStdString(ec.message()));
}

// The tree's icons from the entry's kind alone. The default asks the type database about
// every entry the tree's model reads, files included, and a folder of thousands of files kept
// the tree filling in (and the window changing) for seconds after the thumbnails were shown.
class KindIconProvider : public QAbstractFileIconProvider {
 public:
  QIcon icon(const QFileInfo& info) const override {
    if (info.isRoot()) return QAbstractFileIconProvider::icon(Drive);
    return QAbstractFileIconProvider::icon(info.isDir() ? Folder : File);
  }
  using QAbstractFileIconProvider::icon;
};

}  // namespace

FileBrowser::FileBrowser(settings::UserSettings* user, QWidget* parent)
    : QWidget(parent), user_(user) {
  setObjectName("FileBrowser");
  const FileBrowserOptions options = FileBrowserOptionsFrom(user_->settings);
  thumbnails_ = new FileBrowserThumbnails(
      ToPath(QString::fromStdString(user_->settings.thumbnail_cache_path)), options,
      qApp->devicePixelRatio(), this);
  model_ = new FileBrowserModel(thumbnails_, this);
  moves_.setMaxThreadCount(1);

  splitter_ = new QSplitter(Qt::Vertical, this);
  folders_ = new QFileSystemModel(this);
  // Shared by every browser and never destroyed: the model's reading thread may still ask it
  // for an icon while the model goes away.
  static KindIconProvider* const kind_icons = new KindIconProvider;
  folders_->setIconProvider(kind_icons);
  folders_->setFilter(QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Drives);
  folders_->setRootPath(QDir::rootPath());
  folders_->setReadOnly(true);  // drops onto folders are ours (eventFilter), not the model's
  tree_ = new QTreeView(splitter_);
  tree_->setObjectName("FileBrowserFolders");
  tree_->setModel(folders_);
  for (int column = 1; column < folders_->columnCount(); ++column) tree_->hideColumn(column);
  tree_->setHeaderHidden(true);
  tree_->setAcceptDrops(true);
  tree_->viewport()->setAcceptDrops(true);
  tree_->viewport()->installEventFilter(this);

  cells_ = new QListView(splitter_);
  cells_->setObjectName("FileBrowserCells");
  cells_->setModel(model_);
  cells_->setViewMode(QListView::IconMode);
  cells_->setIconSize(options.cell);
  cells_->setGridSize(GridSize(options.cell, cells_->fontMetrics()));
  // Every cell has the grid's size: laying out thousands of files asks nothing of them.
  cells_->setUniformItemSizes(true);
  cells_->setResizeMode(QListView::Adjust);
  cells_->setMovement(QListView::Static);
  cells_->setWordWrap(false);
  cells_->setTextElideMode(Qt::ElideMiddle);
  cells_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  cells_->setDragEnabled(true);
  cells_->setDragDropMode(QAbstractItemView::DragOnly);
  cells_->setDefaultDropAction(Qt::CopyAction);
  cells_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  cells_->viewport()->installEventFilter(this);
  splitter_->addWidget(tree_);
  splitter_->addWidget(cells_);
  splitter_->setStretchFactor(1, 1);

  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(splitter_);

  visible_timer_ = new QTimer(this);
  visible_timer_->setSingleShot(true);
  visible_timer_->setInterval(0);  // once per burst of scroll events
  connect(visible_timer_, &QTimer::timeout, this, &FileBrowser::AskForVisibleCells);
  connect(cells_->verticalScrollBar(), &QScrollBar::valueChanged, visible_timer_,
          qOverload<>(&QTimer::start));
  connect(model_, &FileBrowserModel::Listed, this, [this](const QString& error) {
    if (!error.isEmpty()) emit Message(error);
    visible_timer_->start();
  });
  // The tree fills in on a thread of its own: the folder shown comes into view once its
  // parents are read.
  connect(folders_, &QFileSystemModel::directoryLoaded, this, [this] {
    if (tree_->currentIndex().isValid()) tree_->scrollTo(tree_->currentIndex());
  });
  connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex& current) {
            const QString folder = folders_->filePath(current);
            if (!folder.isEmpty() && folder != model_->folder()) ShowFolder(folder);
          });
  connect(cells_, &QListView::activated, this, [this] {
    QStringList files;
    for (const QModelIndex& index : cells_->selectionModel()->selectedIndexes()) {
      files.push_back(model_->FilePath(index.row()));
    }
    if (!files.isEmpty()) emit FilesActivated(files);
  });

  const settings::WindowLayout stored =
      settings::LoadLayout(*user_->backend, settings::kLayoutFileBrowserSplitterPrefix);
  const int top = stored.splitter_pos.value_or(180);
  splitter_->setSizes({top, std::max(400 - top, 120)});

  const QString first = QString::fromStdString(user_->settings.filebrowser_path);
  if (!first.isEmpty()) ShowFolder(first);
}

FileBrowser::~FileBrowser() { moves_.waitForDone(); }

QSize FileBrowser::sizeHint() const {
  constexpr int kColumns = 4;
  const int chrome = cells_->frameWidth() * 2 + cells_->verticalScrollBar()->sizeHint().width() +
                     style()->pixelMetric(QStyle::PM_DockWidgetFrameWidth) * 2 + 4;
  // Beside the album, never more than a little under half the window: the album is the main view.
  const int width = std::min(cells_->gridSize().width() * kColumns + chrome,
                             window() != this ? window()->width() * 9 / 20 : QWIDGETSIZE_MAX);
  return {std::max(width, QWidget::sizeHint().width()), QWidget::sizeHint().height()};
}

void FileBrowser::ShowFolder(const QString& folder) {
  const QString clean = QDir::cleanPath(folder);
  model_->SetFolder(clean);
  user_->settings.filebrowser_path = clean.toStdString();
  const QModelIndex index = folders_->index(clean);
  if (index.isValid() && tree_->currentIndex() != index) {
    tree_->setCurrentIndex(index);
    tree_->scrollTo(index);
  }
}

bool FileBrowser::SaveLayout(QString* error) {
  settings::WindowLayout layout;
  layout.splitter_pos = splitter_->sizes().value(0);
  if (settings::SaveLayout(*user_->backend, settings::kLayoutFileBrowserSplitterPrefix, layout)) {
    return true;
  }
  *error = QString::fromStdString(user_->backend->LastError());
  return false;
}

void FileBrowser::AskForVisibleCells() {
  const QSize grid = cells_->gridSize();
  if (model_->rowCount() == 0 || grid.isEmpty()) return;
  const int columns = std::max(1, cells_->viewport()->width() / grid.width());
  const int first_line = cells_->verticalScrollBar()->value() / grid.height();
  const int lines = cells_->viewport()->height() / grid.height() + 2;
  model_->Prioritise(first_line * columns, lines * columns);
}

void FileBrowser::MoveFiles(const QStringList& files, const QString& folder) {
  std::vector<fs::path> sources;
  for (const QString& file : files) sources.push_back(ToPath(file));
  const fs::path target = ToPath(folder);
  moves_.start([this, sources = std::move(sources), target] {
    QStringList problems;
    for (const fs::path& source : sources) {
      if (source.parent_path() == target) continue;
      const QString problem = MoveOne(source, target);
      if (!problem.isEmpty()) problems.push_back(problem);
    }
    // The destructor waits for this task, so the browser is still there.
    QMetaObject::invokeMethod(
        this,
        [this, problems] {
          model_->SetFolder(model_->folder());
          for (const QString& problem : problems) emit Message(problem);
          emit MovesDone(problems);
        },
        Qt::QueuedConnection);
  });
}

bool FileBrowser::eventFilter(QObject* watched, QEvent* event) {
  if (watched == cells_->viewport() && event->type() == QEvent::Resize) {
    visible_timer_->start();
    return false;
  }
  if (watched != tree_->viewport()) return false;
  switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
      auto* drag = static_cast<QDropEvent*>(event);
      const QModelIndex over = tree_->indexAt(drag->position().toPoint());
      if (drag->mimeData()->hasFormat(kFileBrowserInternalFormat) && over.isValid()) {
        drag->setDropAction(Qt::MoveAction);
        drag->accept();
      } else {
        drag->ignore();
      }
      return true;
    }
    case QEvent::Drop: {
      auto* drop = static_cast<QDropEvent*>(event);
      const QModelIndex over = tree_->indexAt(drop->position().toPoint());
      if (!over.isValid() || !drop->mimeData()->hasFormat(kFileBrowserInternalFormat)) {
        drop->ignore();
        return true;
      }
      const QStringList files =
          QString::fromUtf8(drop->mimeData()->data(kFileBrowserInternalFormat))
              .split('\n', Qt::SkipEmptyParts);
      MoveFiles(files, folders_->filePath(over));
      drop->setDropAction(Qt::MoveAction);
      drop->accept();
      return true;
    }
    default:
      return false;
  }
}

}  // namespace quorvane::app
