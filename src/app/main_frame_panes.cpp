// The main frame's HTML panes (the home page with its history, the album header) and the
// description editors they and the menus open; kept apart from the frame's other duties.
#include <algorithm>

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include "album/details_records.h"
#include "app/album_document.h"
#include "app/album_header.h"
#include "app/album_model.h"
#include "app/album_view.h"
#include "app/command_table.h"
#include "app/description_dialog.h"
#include "app/file_browser.h"
#include "app/html_pane.h"
#include "app/job_runner.h"
#include "app/link_router.h"
#include "app/main_frame.h"
#include "app/photo_viewer.h"
#include "app/search_pane.h"
#include "settings/settings.h"

namespace quorvane::app {
namespace {

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

QWidget* MainFrame::BuildHtmlPanes(QWidget* album_view) {
  // The home page with its Back and Forward buttons, in place of the album when asked for.
  auto* home_page = new QWidget(stack_);
  home_ = new HtmlPane(home_page);
  home_->setObjectName("HomePane");
  home_->setFrameShape(QFrame::NoFrame);
  auto* bar = new QToolBar(home_page);
  bar->setObjectName("PaneToolBar");
  bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  bar->addAction(home_->back_action());
  bar->addAction(home_->forward_action());
  bar->addAction(actions_.at(kCmdHomePage));
  auto* home_layout = new QVBoxLayout(home_page);
  home_layout->setContentsMargins(0, 0, 0, 0);
  home_layout->setSpacing(0);
  home_layout->addWidget(bar);
  home_layout->addWidget(home_, 1);
  home_->router()->set_placeholders([this] { return HomePlaceholders(); });

  // The album header over the album's thumbnails.
  auto* album_page = new QWidget(stack_);
  header_ = new AlbumHeaderPane(album_page);
  header_->setFrameShape(QFrame::NoFrame);
  header_->FitHeightToPage(8);
  connect(header_->router(), &LinkRouter::DescriptionRequested, this,
          [this] { actions_.at(kCmdAlbumDescription)->setChecked(true); });
  auto* album_layout = new QVBoxLayout(album_page);
  album_layout->setContentsMargins(0, 0, 0, 0);
  album_layout->setSpacing(0);
  album_layout->addWidget(header_);
  album_layout->addWidget(album_view, 1);

  stack_->addWidget(home_page);
  stack_->addWidget(album_page);
  for (HtmlPane* pane : {home_, static_cast<HtmlPane*>(header_)}) ConnectLinks(pane);
  home_->router()->Follow("res:home");
  connect(home_->router(), &LinkRouter::HistoryChanged, this, &MainFrame::UpdateActions);
  return album_page;
}

void MainFrame::ConnectLinks(HtmlPane* pane) {
  LinkRouter* router = pane->router();
  router->set_named_commands([this](const QString& name) {
    const Command* command = FindNamedCommand(name.toStdString());
    return command && action(command->id) ? command->id : 0;
  });
  // Posted: the command runs once the click that asked for it is over.
  connect(
      router, &LinkRouter::CommandPosted, this,
      [this](int id) {
        QAction* entry = action(id);
        if (entry && entry->isEnabled()) {
          RunCommand(id);
        } else {
          statusBar()->showMessage(tr("This command is not available now."), 5000);
        }
      },
      Qt::QueuedConnection);
  connect(router, &LinkRouter::Failed, this,
          [this](const QString& message) { statusBar()->showMessage(message, 5000); });
  connect(router, &LinkRouter::NavigateRequested, this, [this](int step) {
    if (viewer_) {
      viewer_->RunCommand(step > 0 ? kCmdNextPhoto : kCmdPreviousPhoto);
      return;
    }
    const int row = std::clamp(view_->currentIndex().row() + step, 0, model_->rowCount() - 1);
    if (row >= 0) view_->setCurrentIndex(model_->index(row));
  });
}

bool MainFrame::RunPaneCommand(int id) {
  switch (id) {
    case kCmdHomePage:
      ShowHomePane("res:home");
      return true;
    case kCmdPreviousPage:
      ShowHomePane("history:previous");
      return true;
    case kCmdNextPage:
      ShowHomePane("history:next");
      return true;
    case kCmdAlbumDescription:
      header_->set_show_description(actions_.at(kCmdAlbumDescription)->isChecked());
      return true;
    case kCmdEditAlbumDescription:
      EditAlbumDescription();
      return true;
    case kCmdEditPhotoDescription:
      if (!view_->SelectedPositions().empty()) {
        EditPhotoDescription(static_cast<int>(view_->SelectedPositions().front()));
      }
      return true;
    case kCmdShowSearch:
    case kCmdShowFileBrowser: {
      QWidget* pane = id == kCmdShowSearch ? static_cast<QWidget*>(search_pane_) : file_browser_;
      if (auto* dock = qobject_cast<QDockWidget*>(pane->parentWidget())) {
        dock->show();
        dock->raise();
      }
      pane->setFocus();
      return true;
    }
    default:
      return false;
  }
}

bool MainFrame::home_shown() const { return current_document() == nullptr || home_requested_; }

void MainFrame::ShowHomePane(const QString& link) {
  home_requested_ = true;
  home_->router()->Follow(link);
  UpdateActions();
}

std::map<QString, QString> MainFrame::HomePlaceholders() const {
  const int open = document_count();
  return {
      {"VERSION", QApplication::applicationVersion().toHtmlEscaped()},
      {"LIBRARY_FOLDER", FromUtf8(user_->settings.myphotoalbums_path).toHtmlEscaped()},
      {"OPEN_ALBUMS", open == 0   ? tr("No photo album is open.")
                      : open == 1 ? tr("One photo album is open.")
                                  : tr("%1 photo albums are open.").arg(open)},
  };
}

void MainFrame::EditAlbumDescription() {
  AlbumDocument* document = current_document();
  if (!document) return;
  auto* dialog = new DescriptionDialog(document->album(), this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &QDialog::accepted, this, [this, dialog, location = document->location()] {
    // The album may have closed while the dialog was open.
    AlbumDocument* target = FindDocument(FromUtf8(location));
    if (!target || runner_->busy()) return;
    if (auto record = album::ChangeAlbumDetails(target->album(), dialog->album_details())) {
      target->history().Push(record);
    } else if (!target->album().last_error().empty()) {
      ShowMessage(FromUtf8(target->album().last_error()));
    }
  });
  dialog->open();
}

void MainFrame::EditPhotoDescription(int row) {
  AlbumDocument* document = current_document();
  if (!document || row < 0 || row >= static_cast<int>(document->album().photos().size())) return;
  const album::AlbumPhoto& photo = document->album().photos()[static_cast<size_t>(row)];
  auto* dialog = new DescriptionDialog(photo, row + 1, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(
      dialog, &QDialog::accepted, this,
      [this, dialog, location = document->location(), file = photo.image_file] {
        AlbumDocument* target = FindDocument(FromUtf8(location));
        if (!target || runner_->busy()) return;
        // Found again by name: photos may have moved while the dialog was open.
        const auto& photos = target->album().photos();
        const auto it = std::find_if(photos.begin(), photos.end(),
                                     [&](const auto& p) { return p.image_file == file; });
        if (it == photos.end()) return;
        const size_t at = static_cast<size_t>(it - photos.begin());
        if (auto record = album::ChangePhotoDetails(target->album(), at, dialog->photo_details())) {
          target->history().Push(record);
        } else if (!target->album().last_error().empty()) {
          ShowMessage(FromUtf8(target->album().last_error()));
        }
      });
  dialog->open();
}

void MainFrame::EditCaption(int row, const QString& caption) {
  AlbumDocument* document = current_document();
  if (!document || runner_->busy()) return;
  album::PhotoDetails details;
  details.title = caption.toStdString();
  if (auto record = album::ChangePhotoDetails(document->album(), static_cast<size_t>(row), details,
                                              album::kEditCaptionLabel)) {
    document->history().Push(record);
  } else if (!document->album().last_error().empty()) {
    ShowMessage(FromUtf8(document->album().last_error()));
  }
}

}  // namespace quorvane::app
