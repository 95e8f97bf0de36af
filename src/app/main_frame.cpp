#include "app/main_frame.h"

#include <algorithm>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFileDialog>
#include <QIcon>
#include <QInputDialog>
#include <QItemSelectionModel>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QStyle>
#include <QTextBrowser>
#include <QToolBar>

#include "album/album_history.h"
#include "album/album_library.h"
#include "album/photo_operations.h"
#include "app/album_document.h"
#include "app/album_header.h"
#include "app/album_list_dialog.h"
#include "app/album_model.h"
#include "app/album_operations.h"
#include "app/album_view.h"
#include "app/command_table.h"
#include "app/crash/crash_start.h"
#include "app/edit_value_dialog.h"
#include "app/file_browser.h"
#include "app/frame_title.h"
#include "app/help/help_commands.h"
#include "app/html_pane.h"
#include "app/job_runner.h"
#include "app/library_pane.h"
#include "app/link_router.h"
#include "app/mailwizard/album_mail_wizard.h"
#include "app/photo_viewer.h"
#include "app/preferences_dialog.h"
#include "app/printing/print_commands.h"
#include "app/scanner.h"
#include "app/screen_capture.h"
#include "app/search_pane.h"
#include "app/webwizard/web_wizard.h"
#include "imaging/edit_commands.h"
#include "settings/album_settings.h"
#include "settings/layout.h"
#include "settings/settings.h"

namespace quorvane::app {
namespace {

// Window show states as the stored placement numbers them.
constexpr int32_t kShowNormal = 1;
constexpr int32_t kShowMaximized = 3;
// The scanner chosen with "Select Source...", by its SANE name.
constexpr std::string_view kScannerOption = "options.scanner.device";
// The tool bar's band in the stored rebar layout.
constexpr int32_t kToolBarBandId = 59392;

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Theme icons where the desktop has them, the style's own otherwise.
QIcon CommandIcon(int id, const QStyle* style) {
  struct IconName {
    int id;
    const char* theme;
    QStyle::StandardPixmap fallback;
  };
  static constexpr IconName kIcons[] = {
      {kCmdNewAlbum, "document-new", QStyle::SP_FileIcon},
      {kCmdOpenAlbum, "document-open", QStyle::SP_DialogOpenButton},
      {kCmdSave, "document-save", QStyle::SP_DialogSaveButton},
      {kCmdUndo, "edit-undo", QStyle::SP_ArrowBack},
      {kCmdRedo, "edit-redo", QStyle::SP_ArrowForward},
      {kCmdRemoveFromAlbum, "edit-delete", QStyle::SP_TrashIcon},
      {kCmdHomePage, "go-home", QStyle::SP_DirHomeIcon},
  };
  for (const IconName& icon : kIcons) {
    if (icon.id == id) return QIcon::fromTheme(icon.theme, style->standardIcon(icon.fallback));
  }
  return {};
}

// Commands this build carries out; the rest of the table stays visible but greyed out.
bool IsAvailable(int id) {
  switch (id) {
    case kCmdNewAlbum:
    case kCmdOpenAlbum:
    case kCmdMyAlbums:
    case kCmdOpenArchive:
    case kCmdSave:
    case kCmdSaveAll:
    case kCmdCloseAlbum:
    case kCmdCloseAll:
    case kCmdExit:
    case kCmdUndo:
    case kCmdRedo:
    case kCmdStatusBar:
    case kCmdAbout:
    case kCmdTipOfTheDay:
    case kCmdReleaseNotes:
    case kCmdQuickStart:
    case kCmdRemoveFromAlbum:
    case kCmdShowLarger:
    case kCmdCut:
    case kCmdCopy:
    case kCmdPaste:
    case kCmdSelectAll:
    case kCmdClearSelection:
    case kCmdHomePage:
    case kCmdPreviousPage:
    case kCmdNextPage:
    case kCmdAlbumDescription:
    case kCmdEditAlbumDescription:
    case kCmdEditPhotoDescription:
    case kCmdShowSearch:
    case kCmdShowFileBrowser:
    case kCmdPreferences:
    case kCmdCaptureWindow:
    case kCmdCaptureScreen:
    case kCmdCreateWebPages:
    case kCmdPrintPreview:
    case kCmdPrint:
    case kCmdPrintSetup:
    case kCmdSendEmail:
      return true;
    case kCmdScan:
    case kCmdScanSelectSource:
      return ScanningAvailable();
    default:
      if (const imaging::EditCommand* edit = imaging::FindEditCommand(id)) return edit->album_level;
      return id >= kCmdRecentFirst && id <= kCmdRecentLast;
  }
}

}  // namespace

MainFrame::MainFrame(settings::UserSettings* user, QWidget* parent)
    : QMainWindow(parent),
      user_(user),
      runner_(new JobRunner(this)),
      printing_(new printing::PrintCommands(user, runner_, this)) {
  setObjectName("QuorvaneFrame");
  setWindowIcon(QIcon(":/quorvane/quorvane.svg"));
  BuildActions();
  BuildMenus();
  BuildToolBar();
  BuildCentre();
  BuildPanes();
  statusBar()->showMessage(tr("Ready"));
  recent_ = settings::LoadRecentDocuments(*user_->backend);
  if (recent_.size() > kRecentAlbumCount) recent_.resize(kRecentAlbumCount);
  RebuildRecentMenu();
  RestoreLayout();
  connect(printing_, &printing::PrintCommands::Failed, this, &MainFrame::ShowMessage);
  connect(printing_, &printing::PrintCommands::Printed, this,
          [this](const QString& text) { statusBar()->showMessage(text, 5000); });
  connect(runner_, &JobRunner::BusyChanged, this, [this](bool busy) {
    UpdateActions();
    if (!busy) {
      OnAlbumChanged();
      OpenNextPending();
    }
  });
  UpdateActions();
}

MainFrame::~MainFrame() {
  runner_->WaitUntilIdle();
  model_->SetDocument(nullptr);
  header_->SetDocument(nullptr);
  documents_.clear();
}

void MainFrame::BuildActions() {
  for (const Command& command : Commands()) {
    if (command.id <= 0 || command.id == kCmdRecentFirst) continue;
    if (command.menu.starts_with(kViewerMenu)) continue;  // the photo window makes its own
    if (actions_.count(command.id)) continue;             // "Remove from Album" sits in two menus
    auto* action = new QAction(FromUtf8(CommandLabel(command.text)), this);
    const std::string_view shortcut = CommandShortcut(command.text);
    if (!shortcut.empty()) action->setShortcut(QKeySequence(FromUtf8(shortcut)));
    action->setIcon(CommandIcon(command.id, style()));
    action->setData(command.id);
    if (!IsAvailable(command.id)) {
      action->setToolTip(tr("Not available in this version"));
    } else if (command.id != kCmdUndo && command.id != kCmdRedo) {
      // Tool tips name the shortcut too; Undo and Redo keep Qt's, which follow their texts.
      QString tip = FromUtf8(CommandLabel(command.text)).remove('&');
      if (!shortcut.empty()) {
        tip += " (" + action->shortcut().toString(QKeySequence::NativeText) + ")";
      }
      action->setToolTip(tip);
    }
    const int id = command.id;
    connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
    actions_[command.id] = action;
  }
  QAction* status_bar = actions_.at(kCmdStatusBar);
  status_bar->setCheckable(true);
  status_bar->setChecked(true);
  actions_.at(kCmdAlbumDescription)->setCheckable(true);
}

void MainFrame::BuildMenus() {
  for (std::string_view top : TopMenus()) {
    menus_[FromUtf8(top)] = menuBar()->addMenu(FromUtf8(top));
  }
  auto menu_for = [this](std::string_view path) {
    const QString key = FromUtf8(path);
    if (auto it = menus_.find(key); it != menus_.end()) return it->second;
    const qsizetype slash = key.lastIndexOf('/');
    QMenu* parent = menus_.at(key.left(slash));
    QMenu* submenu = parent->addMenu(key.mid(slash + 1));
    menus_[key] = submenu;
    return submenu;
  };
  for (const Command& command : Commands()) {
    if (command.menu.starts_with(kViewerMenu) || command.menu == kLinkOnlyMenu) continue;
    QMenu* menu = menu_for(command.menu);
    if (command.id == 0) {
      menu->addSeparator();
    } else if (command.id == kCmdRecentFirst) {
      recent_menu_ = menu->addMenu(FromUtf8(command.text));
    } else {
      menu->addAction(actions_.at(command.id));
    }
  }
}

void MainFrame::BuildToolBar() {
  tool_bar_ = addToolBar(tr("Tool Bar"));
  tool_bar_->setObjectName("ToolBar");
  for (const Command& command : Commands()) {
    if (command.on_tool_bar && !command.menu.starts_with(kViewerMenu)) {
      tool_bar_->addAction(actions_.at(command.id));
    }
  }
}

void MainFrame::BuildCentre() {
  splitter_ = new QSplitter(Qt::Horizontal, this);
  library_ = new LibraryPane(splitter_);
  stack_ = new QStackedWidget(splitter_);
  model_ = new AlbumModel(this);
  view_ = new AlbumView(model_, stack_);
  BuildHtmlPanes(view_);
  splitter_->addWidget(library_);
  splitter_->addWidget(stack_);
  operations_ = new AlbumOperations(runner_, this);
  connect(operations_, &AlbumOperations::Failed, this, &MainFrame::ShowMessage);
  connect(operations_, &AlbumOperations::Finished, this, &MainFrame::OnAlbumChanged);
  connect(model_, &AlbumModel::MoveRequested, this,
          [this](const std::vector<size_t>& positions, size_t before) {
            operations_->Move(current_document(), positions, before);
          });
  connect(model_, &AlbumModel::AddRequested, this, [this](const QStringList& files, int position) {
    operations_->Add(current_document(), files, position);
  });
  connect(model_, &AlbumModel::CopyRequested, this, [this](const ImageRef& ref, int position) {
    operations_->CopyFrom(current_document(), FindDocument(ref.album), ref.files, position);
  });
  connect(view_, &AlbumView::RemoveRequested, this, [this] { RunCommand(kCmdRemoveFromAlbum); });
  connect(view_, &AlbumView::OpenRequested, this, &MainFrame::ShowPhoto);
  view_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(view_, &QWidget::customContextMenuRequested, this, &MainFrame::ShowAlbumViewMenu);
  connect(model_, &AlbumModel::CaptionEdited, this, &MainFrame::EditCaption);
  connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &MainFrame::UpdateActions);
  connect(model_, &QAbstractItemModel::modelReset, this, [this] {
    connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MainFrame::UpdateActions, Qt::UniqueConnection);
  });
  splitter_->setStretchFactor(1, 1);
  setCentralWidget(splitter_);
  connect(library_, &LibraryPane::OpenRequested, this, &MainFrame::OpenAlbum);
  library_->set_delete_hooks([this] {
    album::DeleteAlbumHooks hooks;
    hooks.confirm = [this](const std::string& question) {
      return QMessageBox::question(this, "Quorvane", FromUtf8(question),
                                   QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
    };
    for (const auto& document : documents_) hooks.open_album_paths.push_back(document->location());
    hooks.close_album = [this](const std::string& path) { DropDeletedAlbum(path); };
    return hooks;
  });
  connect(library_, &LibraryPane::SortOrderChanged, this,
          [this](int order) { user_->settings.app_openalbumsorttype = order; });
  ReloadLibrary();
}

// The file browser and the search pane dock at the left, one tab each; the View menu shows
// and hides them.
void MainFrame::BuildPanes() {
  file_browser_ = new FileBrowser(user_, this);
  const settings::UserFolders folders = settings::FindUserFolders(settings::ProcessEnvironment());
  search_pane_ = new SearchPane({user_->settings.myphotoalbums_path, folders.data}, this);
  QDockWidget* first = nullptr;
  for (auto [pane, title] : {std::pair<QWidget*, QString>{file_browser_, tr("File Browser")},
                             {search_pane_, tr("Search")}}) {
    auto* dock = new QDockWidget(title, this);
    dock->setObjectName(pane->objectName() + "Dock");
    dock->setWidget(pane);
    addDockWidget(Qt::LeftDockWidgetArea, dock);
    if (first) tabifyDockWidget(first, dock);
    first = first ? first : dock;
    menus_.at("&View")->addAction(dock->toggleViewAction());
  }
  first->raise();
  connect(file_browser_, &FileBrowser::Message, this,
          [this](const QString& text) { statusBar()->showMessage(text, 5000); });
  // Activating files adds them to the current album, as dropping them on it does.
  connect(file_browser_, &FileBrowser::FilesActivated, this, [this](const QStringList& files) {
    if (!current_document()) {
      statusBar()->showMessage(tr("Open or create a photo album to add photos to."), 5000);
      return;
    }
    operations_->Add(current_document(), files, -1);
  });
  connect(search_pane_, &SearchPane::ResultActivated, this,
          [this](const QString& album) { OpenAlbum(album); });
  search_pane_->LoadResults();
}

void MainFrame::RestoreLayout() {
  settings::SettingsBackend& backend = *user_->backend;
  const settings::WindowLayout frame = settings::LoadLayout(backend, settings::kLayoutFramePrefix);
  // A first start takes most of the screen, as a photo program should.
  if (const QScreen* primary = QGuiApplication::primaryScreen()) {
    const QSize available = primary->availableSize();
    resize((available * 0.8).expandedTo(QSize(900, 640)).boundedTo(available));
  } else {
    resize(900, 640);
  }
  if (frame.placement) {
    const settings::LayoutRect& r = frame.placement->normal_position;
    const QRect rect(r.left, r.top, r.right - r.left, r.bottom - r.top);
    // A placement on a screen that is gone would hide the window.
    const QScreen* screen = QGuiApplication::screenAt(rect.center());
    if (rect.width() > 100 && rect.height() > 100 && screen)
      setGeometry(rect);
    else if (rect.width() > 100 && rect.height() > 100)
      resize(rect.size());
    setProperty("quorvaneMaximized", frame.placement->show_cmd == kShowMaximized);
  }
  const settings::WindowLayout rebar = settings::LoadLayout(backend, settings::kLayoutRebarPrefix);
  if (rebar.bands) {
    const bool shown =
        std::any_of(rebar.bands->begin(), rebar.bands->end(),
                    [](const settings::RebarBand& b) { return b.id == kToolBarBandId; });
    tool_bar_->setVisible(shown);
  }
  const settings::WindowLayout splitter =
      settings::LoadLayout(backend, settings::kLayoutSplitterPrefix);
  const int left = splitter.splitter_pos.value_or(170);
  splitter_->setSizes({left, std::max(width() - left, 200)});
}

void MainFrame::ShowWithStoredPlacement() {
  if (property("quorvaneMaximized").toBool()) {
    showMaximized();
  } else {
    show();
  }
}

void MainFrame::SaveLayoutAndSettings() {
  if (layout_saved_) return;
  layout_saved_ = true;
  settings::SettingsBackend& backend = *user_->backend;
  settings::WindowLayout frame;
  settings::WindowPlacement placement;
  const QRect normal = normalGeometry().isValid() ? normalGeometry() : geometry();
  placement.show_cmd = isMaximized() ? kShowMaximized : kShowNormal;
  placement.normal_position = {normal.left(), normal.top(), normal.right() + 1,
                               normal.bottom() + 1};
  frame.placement = placement;
  settings::WindowLayout rebar;
  rebar.bands.emplace();
  if (tool_bar_->isVisible()) {
    rebar.bands->push_back({kToolBarBandId, tool_bar_->width(), true});
  }
  settings::WindowLayout splitter;
  splitter.splitter_pos = splitter_->sizes().value(0);
  bool saved = settings::SaveLayout(backend, settings::kLayoutFramePrefix, frame) &&
               settings::SaveLayout(backend, settings::kLayoutRebarPrefix, rebar) &&
               settings::SaveLayout(backend, settings::kLayoutSplitterPrefix, splitter) &&
               settings::SaveRecentDocuments(backend, recent_) && settings::SaveUserSettings(user_);
  if (!saved) qWarning("quorvane: %s", backend.LastError().c_str());
  QString problem;
  if (!file_browser_->SaveLayout(&problem) || !search_pane_->SaveResults(&problem)) {
    qWarning("quorvane: %s", qPrintable(problem));
  }
}

void MainFrame::closeEvent(QCloseEvent* event) {
  if (runner_->busy()) {
    runner_->Cancel();
    runner_->WaitUntilIdle();
  }
  if (!PhotoEditsSettled([this] { close(); })) {
    event->ignore();
    return;
  }
  for (auto& open : documents_) {
    if (!ConfirmClose(open.get())) {
      event->ignore();
      return;
    }
  }
  SaveLayoutAndSettings();
  event->accept();
}

QAction* MainFrame::action(int id) const {
  auto it = actions_.find(id);
  return it == actions_.end() ? nullptr : it->second;
}

QMenu* MainFrame::top_menu(const QString& text) const {
  auto it = menus_.find(text);
  return it == menus_.end() ? nullptr : it->second;
}

AlbumDocument* MainFrame::current_document() const {
  return current_ >= 0 ? documents_[static_cast<size_t>(current_)].get() : nullptr;
}

void MainFrame::UpdateActions() {
  RecordLoadedAlbums(documents_);
  const bool idle = !runner_->busy();
  AlbumDocument* document = current_document();
  const bool has_album = document != nullptr;
  // While a job runs it may be changing the album: nothing of it is read until it ends.
  if (idle) setWindowTitle(FromUtf8(FrameTitle(document ? document->Title() : TitleState{})));
  const bool writable = idle && has_album && !document->album().read_only();
  const bool selection = has_album && view_->selectionModel()->hasSelection();
  for (auto& [id, action] : actions_) {
    bool enabled = IsAvailable(id) && idle;
    switch (id) {
      case kCmdSave:
        enabled = enabled && writable && document->album().modified();
        break;
      case kCmdCloseAlbum:
      case kCmdSendEmail:
      case kCmdSelectAll:
      case kCmdClearSelection:
        enabled = enabled && has_album;
        break;
      case kCmdCopy:
      case kCmdShowLarger:
        enabled = enabled && selection;
        break;
      case kCmdRemoveFromAlbum:
      case kCmdCut:
        enabled = enabled && writable && selection;
        break;
      case kCmdPaste:
      case kCmdCaptureWindow:
      case kCmdCaptureScreen:
      case kCmdScan:
        enabled = enabled && writable;
        break;
      case kCmdSaveAll:
      case kCmdCloseAll:
        enabled = enabled && !documents_.empty();
        break;
      case kCmdStatusBar:
      case kCmdExit:
      case kCmdAbout:
      case kCmdTipOfTheDay:
      case kCmdReleaseNotes:
      case kCmdHomePage:
        enabled = true;
        break;
      case kCmdAlbumDescription:
        enabled = has_album;
        break;
      case kCmdPreviousPage:
        enabled = home_->router()->CanGoBack();
        break;
      case kCmdNextPage:
        enabled = home_->router()->CanGoForward();
        break;
      case kCmdEditAlbumDescription:
        enabled = enabled && writable;
        break;
      case kCmdCreateWebPages:
        enabled = enabled && has_album && !document->album().photos().empty();
        break;
      case kCmdEditPhotoDescription:
        enabled = enabled && writable && selection;
        break;
      case kCmdPrintPreview:
      case kCmdPrint:
      case kCmdPrintSetup:
        enabled = enabled && has_album && !document->album().photos().empty();
        break;
      default:
        if (imaging::FindEditCommand(id)) enabled = enabled && writable && selection;
        break;
    }
    if (id != kCmdUndo && id != kCmdRedo) action->setEnabled(enabled);
  }
  for (QAction* entry : recent_menu_->actions()) entry->setEnabled(idle);
  recent_menu_->setEnabled(!recent_.empty());
  if (!idle) {
    actions_.at(kCmdUndo)->setEnabled(false);
    actions_.at(kCmdRedo)->setEnabled(false);
    return;
  }
  const album::HistoryMenuItem undo =
      has_album ? document->history().UndoMenu() : album::UndoMenuItem(std::nullopt);
  const album::HistoryMenuItem redo =
      has_album ? document->history().RedoMenu() : album::RedoMenuItem(std::nullopt);
  for (const auto& [id, item] : {std::pair{kCmdUndo, undo}, std::pair{kCmdRedo, redo}}) {
    QAction* entry = actions_.at(id);
    entry->setText(FromUtf8(CommandLabel(item.text)));
    entry->setEnabled(item.enabled);
  }
  std::vector<LibraryPane::OpenAlbum> listed;
  for (const auto& open : documents_) {
    listed.push_back({open->location(), FromUtf8(open->album().title()), open->album().modified()});
  }
  library_->SetOpenAlbums(std::move(listed), current_);
  std::vector<search::OpenAlbum> searchable;
  for (const auto& open : documents_) searchable.push_back({open->location(), &open->album()});
  search_pane_->SetOpenAlbums(searchable);
  stack_->setCurrentIndex(home_shown() ? 0 : 1);
}

void MainFrame::OnAlbumChanged() {
  if (runner_->busy()) return;  // the job's end brings this back
  std::vector<size_t> keep = view_->SelectedPositions();
  model_->Refresh();
  header_->Refresh();
  for (size_t position : keep) {
    if (position < static_cast<size_t>(model_->rowCount())) {
      view_->selectionModel()->select(model_->index(static_cast<int>(position)),
                                      QItemSelectionModel::Select);
    }
  }
  UpdateActions();
}

AlbumDocument* MainFrame::FindDocument(const QString& location) const {
  const std::string path = location.toStdString();
  for (const auto& open : documents_) {
    if (open->location() == path) return open.get();
  }
  return nullptr;
}

bool MainFrame::ConfirmClose(AlbumDocument* document) {
  if (!document->album().modified() || document->album().read_only()) return true;
  const QString question = tr("Save changes to \"%1\"?").arg(FromUtf8(document->album().title()));
  const int answer =
      ask_ ? ask_(question)
           : QMessageBox::question(this, "Quorvane", question,
                                   QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
  if (answer == QMessageBox::Cancel) return false;
  if (answer != QMessageBox::Yes) return true;
  // Closing waits for the save: the album must be on disk before it goes.
  album::Album* target = &document->album();
  bool saved = false;
  runner_->Start(
      tr("Saving..."),
      [target](platform::ProgressSink&) {
        return album::SaveAlbum(*target) ? platform::kOk : platform::kFailed;
      },
      [&saved](platform::ResultCode result) { saved = result == platform::kOk; });
  runner_->WaitUntilIdle();
  if (!saved) ShowMessage(FromUtf8(target->last_error()));
  return saved;
}

void MainFrame::RunEdit(int id) {
  const imaging::EditCommand* command = imaging::FindEditCommand(id);
  AlbumDocument* document = current_document();
  const std::vector<size_t> positions = view_->SelectedPositions();
  if (!command || !document || positions.empty()) return;
  // The first selected photo stands for them all in the dialog.
  const album::AlbumPhoto& first = document->album().photos()[positions.front()];
  const QImage sample = model_->index(static_cast<int>(positions.front()))
                            .data(Qt::DecorationRole)
                            .value<QPixmap>()
                            .toImage();
  const QString location = FromUtf8(document->location());
  AskEditValues(*command, sample, QSize(first.width, first.height), this,
                [this, id, location, positions](const imaging::EditValues& values) {
                  // The album may have closed while the dialog was open.
                  if (AlbumDocument* target = FindDocument(location)) {
                    operations_->Edit(target, id, positions, values,
                                      settings::EditResampleModeFrom(user_->settings));
                  }
                });
}

void MainFrame::Paste() {
  AlbumDocument* document = current_document();
  const QMimeData* clip = QGuiApplication::clipboard()->mimeData();
  if (!document || !clip) return;
  const int position = -1;
  ImageRef ref;
  if (clip->hasFormat(kImageRefFormat) && DecodeImageRef(clip->data(kImageRefFormat), &ref)) {
    operations_->CopyFrom(document, FindDocument(ref.album), ref.files, position);
    return;
  }
  if (clip->hasUrls()) {
    QStringList files;
    for (const QUrl& url : clip->urls()) {
      if (url.isLocalFile()) files.push_back(url.toLocalFile());
    }
    operations_->Add(document, files, position);
    return;
  }
  if (clip->hasImage()) {
    // A picture on its own is added through a file, as any photo is.
    operations_->AddPicture(document, qvariant_cast<QImage>(clip->imageData()), "clip.jpg",
                            "Pasting Photo into Album...");
    return;
  }
  statusBar()->showMessage(tr("The clipboard holds no photo."), 5000);
}

void MainFrame::Activate() {
  if (isMinimized()) showNormal();
  raise();
  activateWindow();
}

void MainFrame::ShowMessage(const QString& text) {
  // Not exec(): the window thread keeps running, and tests can find and close the box.
  auto* box = new QMessageBox(QMessageBox::Warning, "Quorvane", text, QMessageBox::Ok, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->open();
}

void MainFrame::OpenAlbum(const QString& location) {
  const std::string path = location.toStdString();
  for (size_t i = 0; i < documents_.size(); ++i) {
    if (documents_[i]->location() == path) {
      SetCurrent(static_cast<int>(i));
      emit AlbumOpened(location);
      return;
    }
  }
  if (runner_->busy()) {
    pending_opens_.push_back(location);
    return;
  }
  auto opened = std::make_shared<std::unique_ptr<AlbumDocument>>();
  auto error = std::make_shared<std::string>();
  const album::ThumbnailOptions thumbnails = settings::ThumbnailOptionsFrom(user_->settings);
  runner_->Start(
      tr("Opening %1...").arg(location),
      [path, thumbnails, opened, error](platform::ProgressSink&) {
        *opened = AlbumDocument::Open(path, thumbnails, error.get());
        return *opened ? platform::kOk : platform::kFailed;
      },
      [this, location, opened, error](platform::ResultCode result) {
        if (result != platform::kOk) {
          ShowMessage(FromUtf8(*error));
          emit AlbumOpenFailed(location, FromUtf8(*error));
          return;
        }
        Adopt(std::move(*opened));
        statusBar()->showMessage(tr("Opened %1").arg(location), 5000);
        emit AlbumOpened(location);
      });
}

void MainFrame::Adopt(std::unique_ptr<AlbumDocument> document) {
  documents_.push_back(std::move(document));
  // Album edits push from their worker: the frame hears of it on the window thread.
  documents_.back()->history().set_on_changed([this] {
    QMetaObject::invokeMethod(this, &MainFrame::OnAlbumChanged, Qt::QueuedConnection);
  });
  AddRecent(documents_.back()->location());
  SetCurrent(static_cast<int>(documents_.size()) - 1);
}

PhotoViewer* MainFrame::photo_viewer() const { return viewer_.data(); }

void MainFrame::ShowPhoto(int row) {
  AlbumDocument* document = current_document();
  if (!document || runner_->busy() || row < 0) return;
  album::Album& album = document->album();
  std::vector<PhotoViewer::Photo> photos;
  for (const album::AlbumPhoto& photo : album.photos()) {
    photos.push_back({QString::fromStdString(album.store().LocalPath(photo.image_file).string()),
                      FromUtf8(photo.image_file), FromUtf8(photo.title)});
  }
  if (row >= static_cast<int>(photos.size())) return;
  if (viewer_ && viewer_->has_unsaved_edits()) {
    // The window's edits go into their album before it shows another photo.
    viewer_->SaveEdits([this, row] { ShowPhoto(row); });
    return;
  }
  delete viewer_;
  viewer_ = new PhotoViewer(std::move(photos), row, this);
  viewer_->setAttribute(Qt::WA_DeleteOnClose);
  viewer_->set_resample_mode(settings::EditResampleModeFrom(user_->settings));
  viewer_->set_save_back(
      [this, location = FromUtf8(document->location())](
          const QString& name, const image::Image& picture, std::function<void(bool)> done) {
        AlbumDocument* target = FindDocument(location);
        if (!target) {
          ShowMessage(tr("The album of this photo is closed: the changes cannot go into it."));
          done(false);
          return;
        }
        runner_->WaitUntilIdle();  // another album job first; the edit goes in after it
        operations_->Replace(target, name, picture, std::move(done));
      });
  connect(
      viewer_, &PhotoViewer::CommandPosted, this, [this, location = document->location()](int id) {
        // The window shows photos of the album it was opened from, which may no longer be current.
        AlbumDocument* shown = current_document();
        if (!shown || shown->location() != location) {
          statusBar()->showMessage(tr("The photo's album is no longer the current album."), 5000);
        } else if (id == kCmdEditPhotoDescription && viewer_) {
          EditPhotoDescription(viewer_->index());
        } else if (QAction* entry = action(id); entry && entry->isEnabled()) {
          RunCommand(id);
        }
      });
  viewer_->show();
}

void MainFrame::ShowAlbumList() {
  auto* dialog = new AlbumListDialog(user_->settings.myphotoalbums_path,
                                     user_->settings.app_openalbumsorttype.value_or(0), this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  std::vector<std::string> open;
  for (const auto& document : documents_) open.push_back(document->location());
  dialog->set_open_albums(open, [this](const std::string& path) { DropDeletedAlbum(path); });
  connect(dialog, &QDialog::finished, this, [this, dialog](int result) {
    user_->settings.app_openalbumsorttype = dialog->sort_order();
    ReloadLibrary();  // albums may have been deleted, and the order changed
    if (result == QDialog::Accepted && !dialog->chosen().empty()) {
      OpenAlbum(FromUtf8(dialog->chosen()));
    }
  });
  dialog->open();
}

void MainFrame::ShowNewAlbum() {
  auto* dialog = new NewAlbumDialog(this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &QDialog::accepted, this, [this, dialog] { CreateAlbum(dialog->values()); });
  dialog->open();
}

void MainFrame::CreateAlbum(const album::NewAlbumValues& values,
                            std::function<void(AlbumDocument*)> done) {
  const std::filesystem::path library = user_->settings.myphotoalbums_path;
  auto made = std::make_shared<std::unique_ptr<album::Album>>();
  auto folder = std::make_shared<std::filesystem::path>();
  auto error = std::make_shared<std::string>();
  const album::ThumbnailOptions thumbnails = settings::ThumbnailOptionsFrom(user_->settings);
  const bool started = runner_->Start(
      tr("Creating album..."),
      [values, library, made, folder, error, thumbnails](platform::ProgressSink&) {
        *made = album::CreateAlbum(library, values, folder.get(), error.get());
        if (*made) (*made)->set_thumbnail_options(thumbnails);
        return *made ? platform::kOk : platform::kFailed;
      },
      [this, made, folder, error, done](platform::ResultCode result) {
        if (result != platform::kOk) {
          ShowMessage(FromUtf8(*error));
          if (done) done(nullptr);
          return;
        }
        Adopt(std::make_unique<AlbumDocument>(std::move(*made), folder->string()));
        ReloadLibrary();
        if (done) done(FindDocument(FromUtf8(folder->string())));
      });
  if (!started && done) done(nullptr);
}

void MainFrame::OpenNextPending() {
  if (pending_opens_.empty() || runner_->busy()) return;
  const QString next = pending_opens_.front();
  pending_opens_.erase(pending_opens_.begin());
  OpenAlbum(next);
}

void MainFrame::SetCurrent(int index) {
  current_ = index;
  home_requested_ = false;
  model_->SetDocument(current_document());
  header_->SetDocument(current_document());
  UpdateActions();
}

void MainFrame::AddRecent(const std::string& location) {
  recent_.erase(std::remove(recent_.begin(), recent_.end(), location), recent_.end());
  recent_.insert(recent_.begin(), location);
  if (recent_.size() > kRecentAlbumCount) recent_.resize(kRecentAlbumCount);
  // Kept at once, so a crash or a second program does not lose it.
  if (!settings::SaveRecentDocuments(*user_->backend, recent_)) {
    statusBar()->showMessage(FromUtf8(user_->backend->LastError()), 5000);
  }
  RebuildRecentMenu();
}

// The photos' own commands, where the pointer is: the same actions as the menus, so they are
// enabled and disabled with them.
void MainFrame::ShowAlbumViewMenu(const QPoint& where) {
  if (!current_document()) return;
  QMenu menu(this);
  for (int id : {kCmdShowLarger, kCmdEditPhotoDescription}) menu.addAction(actions_.at(id));
  menu.addSeparator();
  for (int id : {kCmdCut, kCmdCopy, kCmdPaste, kCmdRemoveFromAlbum}) {
    menu.addAction(actions_.at(id));
  }
  menu.addSeparator();
  // The edit submenus of the Photo menu; adding photos from a scanner or the screen is not
  // about the photos under the pointer.
  for (QAction* entry : top_menu("&Photo")->actions()) {
    QMenu* submenu = entry->menu();
    if (submenu && submenu != menus_.at("&Photo/S&canner") &&
        submenu != menus_.at("&Photo/Scr&eenshots")) {
      menu.addMenu(submenu);
    }
  }
  menu.addSeparator();
  menu.addAction(actions_.at(kCmdUndo));
  menu.addAction(actions_.at(kCmdRedo));
  menu.exec(view_->viewport()->mapToGlobal(where));
}

void MainFrame::RebuildRecentMenu() {
  recent_menu_->clear();
  for (size_t i = 0; i < recent_.size(); ++i) {
    const int id = kCmdRecentFirst + static_cast<int>(i);
    QAction* entry =
        recent_menu_->addAction(FromUtf8(RecentAlbumText(static_cast<int>(i), recent_[i])));
    entry->setData(id);
    connect(entry, &QAction::triggered, this, [this, id] { RunCommand(id); });
  }
  recent_menu_->setEnabled(!recent_.empty());
}

void MainFrame::CloseCurrent() {
  if (current_ < 0 || !PhotoEditsSettled([this] { CloseCurrent(); })) return;
  if (!ConfirmClose(current_document())) return;
  model_->SetDocument(nullptr);
  documents_.erase(documents_.begin() + current_);
  SetCurrent(documents_.empty() ? -1 : std::min<int>(current_, document_count() - 1));
}

void MainFrame::RunCommand(int id) {
  if (QAction* entry = action(id); entry && !entry->isEnabled()) return;
  if (runner_->busy()) return;
  AlbumDocument* document = current_document();
  if (id >= kCmdRecentFirst && id <= kCmdRecentLast) {
    const size_t index = static_cast<size_t>(id - kCmdRecentFirst);
    if (index < recent_.size()) OpenAlbum(FromUtf8(recent_[index]));
    return;
  }
  switch (id) {
    case kCmdOpenAlbum:
    case kCmdMyAlbums:
      ShowAlbumList();
      return;
    case kCmdNewAlbum:
      ShowNewAlbum();
      return;
    case kCmdOpenArchive: {
      const QString file = QFileDialog::getOpenFileName(
          this, tr("Open Quorvane Archive"), FromUtf8(user_->settings.myphotoalbums_path),
          tr("Quorvane Archives (*.qvo)"));
      if (!file.isEmpty()) OpenAlbum(file);
      return;
    }
    case kCmdSave:
    case kCmdSaveAll: {
      std::vector<album::Album*> albums;
      for (auto& open : documents_) {
        if ((id == kCmdSaveAll || open.get() == document) && open->album().modified() &&
            !open->album().read_only()) {
          albums.push_back(&open->album());
        }
      }
      if (albums.empty()) return;
      auto failures = std::make_shared<std::vector<std::string>>();
      runner_->Start(
          tr("Saving..."),
          [albums, failures](platform::ProgressSink& progress) {
            for (size_t i = 0; i < albums.size(); ++i) {
              progress.SetPosition(static_cast<int64_t>(i), static_cast<int64_t>(albums.size()));
              if (!album::SaveAlbum(*albums[i])) failures->push_back(albums[i]->last_error());
            }
            return failures->empty() ? platform::kOk : platform::kFailed;
          },
          [this, failures](platform::ResultCode) {
            for (const std::string& failure : *failures) ShowMessage(FromUtf8(failure));
            if (failures->empty()) statusBar()->showMessage(tr("Saved"), 3000);
            ReloadLibrary();  // titles and photo counts as the indexes now say
          });
      return;
    }
    case kCmdCloseAlbum:
      CloseCurrent();
      return;
    case kCmdCloseAll:
      if (!PhotoEditsSettled([this] { RunCommand(kCmdCloseAll); })) return;
      for (auto& open : documents_) {
        if (!ConfirmClose(open.get())) return;
      }
      model_->SetDocument(nullptr);
      documents_.clear();
      SetCurrent(-1);
      return;
    case kCmdRemoveFromAlbum:
      operations_->Remove(document, view_->SelectedPositions());
      return;
    case kCmdCopy:
    case kCmdCut:
      QGuiApplication::clipboard()->setMimeData(model_->MimeDataFor(view_->SelectedPositions()));
      if (id == kCmdCut) operations_->Remove(document, view_->SelectedPositions());
      return;
    case kCmdPaste:
      Paste();
      return;
    case kCmdShowLarger:
      if (!view_->SelectedPositions().empty()) {
        ShowPhoto(static_cast<int>(view_->SelectedPositions().front()));
      }
      return;
    case kCmdSelectAll:
      view_->selectAll();
      return;
    case kCmdClearSelection:
      view_->clearSelection();
      return;
    case kCmdExit:
      close();
      return;
    case kCmdUndo:
      if (document && !document->history().Undo(document->album()) &&
          !document->album().last_error().empty()) {
        ShowMessage(FromUtf8(document->album().last_error()));
      }
      UpdateActions();
      return;
    case kCmdRedo:
      if (document && !document->history().Redo(document->album()) &&
          !document->album().last_error().empty()) {
        ShowMessage(FromUtf8(document->album().last_error()));
      }
      UpdateActions();
      return;
    case kCmdPreferences:
      ShowPreferences();
      return;
    case kCmdSendEmail:
      if (document && PhotoEditsSettled([this] { RunCommand(kCmdSendEmail); })) {
        ShowAlbumMailWizard(document->album(), user_, this);
      }
      return;
    case kCmdCaptureWindow:
    case kCmdCaptureScreen:
      Capture(id == kCmdCaptureWindow);
      return;
    case kCmdScan:
      Scan();
      return;
    case kCmdScanSelectSource:
      SelectScanSource();
      return;
    case kCmdCreateWebPages:
      if (document && PhotoEditsSettled([this] { RunCommand(kCmdCreateWebPages); })) {
        ShowWebWizard(document->album(), user_, this);
      }
      return;
    case kCmdPrintPreview:
      printing_->ShowPreview(document->album());
      return;
    case kCmdPrint:
      printing_->ShowPrintDialog(document->album());
      return;
    case kCmdPrintSetup:
      printing_->ShowPageSetup();
      return;
    case kCmdStatusBar:
      statusBar()->setVisible(actions_.at(kCmdStatusBar)->isChecked());
      return;
    case kCmdAbout:
    case kCmdTipOfTheDay:
    case kCmdReleaseNotes:
    case kCmdQuickStart:
      help::RunHelpCommand(this, id);
      return;
    default:
      if (RunPaneCommand(id)) return;
      if (imaging::FindEditCommand(id)) {
        RunEdit(id);
        return;
      }
      statusBar()->showMessage(tr("This command is not available in this version."), 5000);
      return;
  }
}

bool MainFrame::PhotoEditsSettled(const std::function<void()>& then) {
  if (!viewer_ || !viewer_->has_unsaved_edits()) return true;
  viewer_->SaveEdits(then);
  // Refused at once (a read-only album; the message is up): asking again would refuse again.
  return !viewer_->saving();
}

void MainFrame::ReloadLibrary() {
  library_->Reload(user_->settings.myphotoalbums_path,
                   user_->settings.app_openalbumsorttype.value_or(0));
}

void MainFrame::Capture(bool pick_region) {
  const QString location = current_document() ? FromUtf8(current_document()->location()) : "";
  CaptureScreen(this, pick_region, [this, location](const QImage& picture) {
    AlbumDocument* document = FindDocument(location);
    if (picture.isNull() || !document) {
      statusBar()->showMessage(
          picture.isNull() ? tr("Nothing was captured.") : tr("The album was closed meanwhile."),
          5000);
      return;
    }
    operations_->AddPicture(document, picture, "clip.jpg", "Adding Capture into Album...");
  });
}

void MainFrame::ShowPreferences() {
  auto* dialog = new PreferencesDialog(user_->settings, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &QDialog::accepted, this, [this, dialog] { ApplySettings(dialog->values()); });
  dialog->open();
}

void MainFrame::ApplySettings(const settings::Settings& changed) {
  const settings::Settings before = user_->settings;
  user_->settings = changed;
  for (const std::string& problem : settings::CreateMissingFolders(changed)) {
    ShowMessage(FromUtf8(problem));
  }
  if (!settings::SaveUserSettings(user_)) {
    ShowMessage(FromUtf8(user_->backend->LastError()));
  }
  // Open albums make their next thumbnails the new way.
  const album::ThumbnailOptions thumbnails = settings::ThumbnailOptionsFrom(changed);
  for (auto& open : documents_) open->album().set_thumbnail_options(thumbnails);
  if (viewer_) viewer_->set_resample_mode(settings::EditResampleModeFrom(changed));
  if (before.myphotoalbums_path != changed.myphotoalbums_path) ReloadLibrary();
  if (before.thumbnail_cache_path != changed.thumbnail_cache_path ||
      before.filebrowser_path != changed.filebrowser_path || before.options != changed.options) {
    statusBar()->showMessage(
        tr("The file browser takes the new settings when Quorvane starts again."), 8000);
  }
}

void MainFrame::Scan() {
  std::string device;
  if (auto it = user_->settings.options.find(kScannerOption); it != user_->settings.options.end()) {
    if (const std::string* name = std::get_if<std::string>(&it->second)) device = *name;
  }
  operations_->AddPicture(
      current_document(),
      [device](platform::ProgressSink& progress, QImage* page, std::string* error) {
        return ScanPage(device, progress, page, error);
      },
      "scan.jpg", "Adding Scanned Photo to Album...");
}

void MainFrame::SelectScanSource() {
  auto sources = std::make_shared<std::vector<ScanSource>>();
  auto error = std::make_shared<std::string>();
  runner_->Start(
      tr("Looking for scanners..."),
      [sources, error](platform::ProgressSink&) {
        return ListScanSources(sources.get(), error.get()) ? platform::kOk : platform::kFailed;
      },
      [this, sources, error](platform::ResultCode result) {
        if (result != platform::kOk || sources->empty()) {
          statusBar()->showMessage(
              result != platform::kOk ? FromUtf8(*error) : tr("No scanner was found."), 8000);
          return;
        }
        auto* ask = new QInputDialog(this);
        ask->setAttribute(Qt::WA_DeleteOnClose);
        ask->setWindowTitle("Quorvane");
        ask->setLabelText(tr("Scan from:"));
        QStringList names;
        for (const ScanSource& source : *sources) names.push_back(FromUtf8(source.description));
        ask->setComboBoxItems(names);
        connect(ask, &QInputDialog::accepted, this, [this, ask, sources] {
          const int chosen = ask->comboBoxItems().indexOf(ask->textValue());
          if (chosen < 0) return;
          user_->settings.options.insert_or_assign(std::string(kScannerOption),
                                                   (*sources)[static_cast<size_t>(chosen)].name);
          if (!settings::SaveUserSettings(user_)) {
            ShowMessage(FromUtf8(user_->backend->LastError()));
          }
        });
        ask->open();
      });
}

void MainFrame::DropDeletedAlbum(const std::string& path) {
  for (size_t i = 0; i < documents_.size(); ++i) {
    if (documents_[i]->location() != path) continue;
    // The album is about to be deleted: its changes have nowhere to go.
    if (current_document() == documents_[i].get()) model_->SetDocument(nullptr);
    documents_.erase(documents_.begin() + static_cast<std::ptrdiff_t>(i));
    SetCurrent(documents_.empty() ? -1 : 0);
    return;
  }
}

}  // namespace quorvane::app
