#include "app/search_pane.h"

#include <map>
#include <system_error>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "app/search_pane_model.h"

namespace quorvane::app {
namespace {

namespace fs = std::filesystem;

constexpr QSize kIconSize(96, 72);
constexpr char kEmptyTextProperty[] = "quorvaneEmptyText";

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// An album's thumbnail, scaled to the list's icons when it is larger.
QImage LoadThumbnail(const fs::path& file) {
  QImageReader reader(QString::fromStdString(file.string()));
  const QSize size = reader.size();
  if (size.isValid() && (size.width() > kIconSize.width() || size.height() > kIconSize.height())) {
    reader.setScaledSize(size.scaled(kIconSize, Qt::KeepAspectRatio));
  }
  return reader.read();
}

}  // namespace

// The results list, which says in its empty space why it is empty.
class SearchPane::ResultList : public QListView {
 public:
  using QListView::QListView;

 protected:
  void paintEvent(QPaintEvent* event) override {
    QListView::paintEvent(event);
    const QString empty_text = property(kEmptyTextProperty).toString();
    if (model() == nullptr || model()->rowCount() > 0 || empty_text.isEmpty()) return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect().adjusted(8, 8, -8, -8),
                     Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap, empty_text);
  }
};

struct SearchPane::Pending {
  std::mutex mutex;
  std::vector<search::SearchResult> results;
  bool posted = false;  // a call to take them is on its way to the window
};

SearchPane::SearchPane(SearchPaneFolders folders, QWidget* parent)
    : QWidget(parent),
      folders_(std::move(folders)),
      pending_(std::make_shared<Pending>()),
      generation_(std::make_shared<std::atomic<quint64>>(0)) {
  setObjectName("SearchPane");
  details_.setMaxThreadCount(1);  // in order: thumbnails come as the rows do

  look_in_ = new QComboBox(this);
  look_in_->setObjectName("LookIn");
  look_for_ = new QLineEdit(this);
  look_for_->setObjectName("LookFor");
  title_ = new QCheckBox(tr("Title"), this);
  description_ = new QCheckBox(tr("Description"), this);
  keywords_ = new QCheckBox(tr("Keywords"), this);
  for (QCheckBox* box : {title_, description_, keywords_}) box->setChecked(true);
  button_ = new QPushButton(tr("Search"), this);
  button_->setObjectName("SearchButton");
  button_->setDefault(true);
  model_ = new SearchResultsModel(kIconSize, this);
  results_ = new ResultList(this);
  results_->setObjectName("SearchResults");
  results_->setModel(model_);
  results_->setViewMode(QListView::IconMode);
  results_->setIconSize(kIconSize);
  results_->setGridSize(
      QSize(kIconSize.width() + 24, kIconSize.height() + 2 * fontMetrics().height() + 8));
  // Captions wrap onto a second line rather than losing their end.
  results_->setTextElideMode(Qt::ElideNone);
  results_->setResizeMode(QListView::Adjust);
  results_->setMovement(QListView::Static);
  results_->setWordWrap(true);
  results_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  results_->setDragEnabled(true);
  results_->setDragDropMode(QAbstractItemView::DragOnly);
  results_->setDefaultDropAction(Qt::CopyAction);

  auto* copy = new QAction(tr("&Copy"), results_);
  copy->setShortcut(QKeySequence::Copy);
  copy->setShortcutContext(Qt::WidgetShortcut);
  results_->addAction(copy);
  results_->setContextMenuPolicy(Qt::ActionsContextMenu);
  connect(copy, &QAction::triggered, this, &SearchPane::CopySelection);

  auto* look_in_label = new QLabel(tr("Look in:"), this);
  look_in_label->setBuddy(look_in_);
  auto* look_for_label = new QLabel(tr("Look for:"), this);
  look_for_label->setBuddy(look_for_);
  auto* boxes = new QHBoxLayout;
  for (QCheckBox* box : {title_, description_, keywords_}) boxes->addWidget(box);
  boxes->addStretch();
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(6, 6, 6, 6);
  layout->addWidget(look_in_label);
  layout->addWidget(look_in_);
  layout->addWidget(look_for_label);
  layout->addWidget(look_for_);
  layout->addLayout(boxes);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(button_);
  layout->addLayout(buttons);
  layout->addWidget(new QLabel(tr("Search Results:"), this));
  layout->addWidget(results_, 1);

  connect(button_, &QPushButton::clicked, this, &SearchPane::StartOrStop);
  connect(look_for_, &QLineEdit::returnPressed, this, [this] {
    if (!searching()) StartOrStop();
  });
  connect(results_, &QListView::activated, this, [this](const QModelIndex& index) {
    std::string folder;
    int32_t photo = 0;
    if (search::ParseReferenceText(model_->row(index.row()).row.path, &folder, &photo)) {
      emit ResultActivated(QString::fromStdString(folder), photo);
    }
  });
  SetOpenAlbums({});
}

SearchPane::~SearchPane() {
  worker_.Stop();
  generation_->fetch_add(1);
  details_.clear();
  details_.waitForDone();
}

fs::path SearchPane::ResultsFile() const { return folders_.data / search::kSearchResultsFileName; }

void SearchPane::SetOpenAlbums(const std::vector<search::OpenAlbum>& albums) {
  open_albums_ = albums;
  const int current = look_in_->currentIndex();
  std::optional<search::LookInItem> previous;
  if (current >= 0 && static_cast<size_t>(current) < look_in_items_.size()) {
    previous = look_in_items_[static_cast<size_t>(current)];
  }
  search::LookInList list = search::FillLookInList(albums, previous ? &*previous : nullptr);
  const bool same =
      list.items.size() == look_in_items_.size() &&
      std::equal(list.items.begin(), list.items.end(), look_in_items_.begin(),
                 [](const auto& a, const auto& b) { return a.SameChoice(b) && a.text == b.text; });
  if (!same) {
    look_in_items_ = std::move(list.items);
    const QIcon library =
        QIcon::fromTheme("folder-pictures", style()->standardIcon(QStyle::SP_DirHomeIcon));
    const QIcon open =
        QIcon::fromTheme("folder-open", style()->standardIcon(QStyle::SP_DirOpenIcon));
    const QIcon album =
        QIcon::fromTheme("image-x-generic", style()->standardIcon(QStyle::SP_FileIcon));
    look_in_->clear();
    for (const search::LookInItem& item : look_in_items_) {
      const QIcon& icon = item.kind == search::ScopeKind::kLibrary      ? library
                          : item.kind == search::ScopeKind::kOpenAlbums ? open
                                                                        : album;
      look_in_->addItem(icon, FromUtf8(item.text));
    }
  }
  look_in_->setCurrentIndex(static_cast<int>(list.selected));
}

bool SearchPane::searching() const { return button_->text() == tr("Stop"); }

void SearchPane::SetEmptyText(const QString& text) {
  empty_text_ = text;
  results_->setProperty(kEmptyTextProperty, text);
  results_->viewport()->update();
}

void SearchPane::StartOrStop() {
  if (searching()) {
    worker_.Stop();
    TakePending(*generation_);
    Finish();
    return;
  }
  search::SearchRequest request;
  request.text = look_for_->text().toStdString();
  if (request.text.empty()) return;
  request.in_title = title_->isChecked();
  request.in_description = description_->isChecked();
  request.in_keywords = keywords_->isChecked();

  worker_.Stop();
  const quint64 generation = generation_->fetch_add(1) + 1;
  details_.clear();
  {
    std::lock_guard lock(pending_->mutex);
    pending_->results.clear();
  }
  model_->Clear();
  SetEmptyText(tr("Searching..."));
  button_->setText(tr("Stop"));

  // The worker reads copies: the albums may change while it runs.
  snapshots_.clear();
  std::vector<search::OpenAlbum> copies;
  for (const search::OpenAlbum& open : open_albums_) {
    if (open.album == nullptr) continue;
    auto copy = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(open.path));
    copy->set_record(open.album->record());
    copies.push_back({open.path, copy.get()});
    snapshots_.push_back(std::move(copy));
  }
  const int chosen = std::max(0, look_in_->currentIndex());
  const search::LookInItem item = static_cast<size_t>(chosen) < look_in_items_.size()
                                      ? look_in_items_[static_cast<size_t>(chosen)]
                                      : search::LookInItem{};
  search::SearchScope scope = search::ScopeOf(item, folders_.library, copies);
  if (scope.kind == search::ScopeKind::kLibrary && !folders_.data.empty()) {
    std::error_code ec;
    fs::create_directories(folders_.data, ec);
    if (!ec) scope.presence_cache = folders_.data / search::kPresenceCacheFileName;
  }

  std::shared_ptr<Pending> pending = pending_;
  auto sink = [this, pending, generation](search::SearchResult&& result) {
    std::lock_guard lock(pending->mutex);
    pending->results.push_back(std::move(result));
    if (pending->posted) return;
    pending->posted = true;
    // Stop and the destructor join this thread, so the pane is there to receive the call.
    QMetaObject::invokeMethod(
        this, [this, generation] { TakePending(generation); }, Qt::QueuedConnection);
  };
  auto done = [this, generation](const search::SearchSummary&) {
    QMetaObject::invokeMethod(
        this,
        [this, generation] {
          if (generation != *generation_ || !searching()) return;
          TakePending(generation);
          Finish();
        },
        Qt::QueuedConnection);
  };
  worker_.Start(std::move(request), std::move(scope), std::move(sink), std::move(done));
}

void SearchPane::Finish() {
  button_->setText(tr("Search"));
  SetEmptyText(model_->rowCount() == 0 ? tr("No matches found") : QString());
  emit SearchFinished(model_->rowCount());
}

void SearchPane::TakePending(quint64 generation) {
  std::vector<search::SearchResult> found;
  {
    std::lock_guard lock(pending_->mutex);
    pending_->posted = false;
    found.swap(pending_->results);
  }
  if (generation != *generation_ || found.empty()) return;
  std::vector<SearchResultsModel::Row> rows;
  rows.reserve(found.size());
  for (const search::SearchResult& result : found) {
    rows.push_back({search::RowOf(result),
                    FromUtf8(search::ResultToolTip(result)),
                    result.photo.image_file,
                    {}});
  }
  const int first = model_->rowCount();
  model_->Append(std::move(rows));
  LoadDetails(generation, first, static_cast<int>(found.size()));
}

void SearchPane::LoadDetails(quint64 generation, int first, int count) {
  struct Wanted {
    int row;
    fs::path folder;
    int32_t index;
    std::string image_file;
  };
  std::vector<Wanted> wanted;
  for (int row = first; row < first + count; ++row) {
    Wanted item{row, {}, 0, model_->row(row).image_file};
    std::string folder;
    if (!search::ParseReferenceText(model_->row(row).row.path, &folder, &item.index)) continue;
    item.folder = folder;
    wanted.push_back(std::move(item));
  }
  details_.start([this, generation, wanted = std::move(wanted), live = generation_] {
    // Rows read from the results file know only their album and index: the album's index
    // file names the photo. Each album is read once per batch.
    std::map<fs::path, std::unique_ptr<album::Album>> albums;
    for (const Wanted& item : wanted) {
      if (*live != generation) return;
      std::string image_file = item.image_file;
      QString tool_tip;
      if (image_file.empty()) {
        auto& album = albums[item.folder];
        if (album == nullptr) {
          album = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(item.folder));
          if (!album::AlbumIndex::LoadIndex(*album)) album->photos().clear();
        }
        if (item.index < 0 || static_cast<size_t>(item.index) >= album->photos().size()) continue;
        search::SearchResult result{item.folder.string(), album->title(), item.index,
                                    album->photos()[static_cast<size_t>(item.index)]};
        image_file = result.photo.image_file;
        tool_tip = FromUtf8(search::ResultToolTip(result));
      }
      const QImage thumbnail = LoadThumbnail(item.folder / album::ThumbnailName(image_file));
      // The destructor waits for this task, so the pane is there to receive the call.
      QMetaObject::invokeMethod(
          this,
          [this, generation, row = item.row, tool_tip, thumbnail] {
            if (generation == *generation_) model_->SetDetails(row, tool_tip, thumbnail);
          },
          Qt::QueuedConnection);
    }
  });
}

bool SearchPane::SaveResults(QString* error) {
  if (searching()) {
    worker_.Stop();
    TakePending(*generation_);
    Finish();
  }
  std::error_code ec;
  fs::create_directories(folders_.data, ec);
  std::string reason;
  if (search::SaveSearchResults(ResultsFile(), model_->Rows(), &reason)) return true;
  *error = FromUtf8(reason);
  return false;
}

void SearchPane::LoadResults() {
  const quint64 generation = *generation_;
  details_.start([this, generation, file = ResultsFile()] {
    std::vector<search::SearchResultRow> rows;
    std::string error;
    if (!search::LoadSearchResults(file, &rows, &error)) rows.clear();
    QMetaObject::invokeMethod(
        this,
        [this, generation, rows = std::move(rows)] {
          // A search started meanwhile has the list now.
          if (generation != *generation_) return;
          model_->Clear();
          std::vector<SearchResultsModel::Row> loaded;
          for (const search::SearchResultRow& row : rows) loaded.push_back({row, {}, {}, {}});
          model_->Append(std::move(loaded));
          LoadDetails(generation, 0, model_->rowCount());
          emit ResultsLoaded(model_->rowCount());
        },
        Qt::QueuedConnection);
  });
}

void SearchPane::CopySelection() {
  QMimeData* copied = model_->mimeData(results_->selectionModel()->selectedIndexes());
  if (copied != nullptr) QApplication::clipboard()->setMimeData(copied);
}

}  // namespace quorvane::app
