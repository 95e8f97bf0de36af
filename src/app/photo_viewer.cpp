#include "app/photo_viewer.h"

#include <algorithm>
#include <cstdlib>

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScrollArea>
#include <QToolBar>
#include <QVBoxLayout>

#include "app/command_table.h"
#include "app/edit_value_dialog.h"
#include "app/html_pane.h"
#include "app/html_resources.h"
#include "app/job_runner.h"
#include "app/link_router.h"
#include "app/qt_image.h"
#include "imaging/edit_commands.h"
#include "imaging/viewer_document.h"

namespace quorvane::app {
namespace {

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// The header's layout; the placeholders are filled for each photo.
constexpr char kHeaderTemplate[] =
    "<body><font face=\"{DEFAULT_GUI_FONT}\"><b>Photo {PHOTO_INDEX} of {PHOTO_COUNT}</b>%6"
    "&nbsp;&nbsp;<a href=\"navigate:prev\">Previous</a>&nbsp;&middot;&nbsp;"
    "<a href=\"navigate:next\">Next</a>&nbsp;&middot;&nbsp;"
    "<a href=\"properties\">Edit&nbsp;description</a><br>"
    "File&nbsp;name:&nbsp;%1&nbsp;&nbsp; Actual&nbsp;size:&nbsp;%2x%3&nbsp;&nbsp; "
    "Display&nbsp;size:&nbsp;%4x%5</font></body>";

int ZoomOf(int id) {
  switch (id) {
    case kCmdZoom25:
      return 25;
    case kCmdZoom50:
      return 50;
    case kCmdZoom75:
      return 75;
    case kCmdZoom100:
      return 100;
    case kCmdZoom150:
      return 150;
    case kCmdZoom200:
      return 200;
    case kCmdZoom300:
      return 300;
    default:
      return -1;
  }
}

}  // namespace

PhotoCanvas::PhotoCanvas(QWidget* parent) : QWidget(parent) { setMouseTracking(false); }

void PhotoCanvas::SetImage(const QImage& image) {
  image_ = image;
  ClearSelection();
}

void PhotoCanvas::SetZoom(int percent, QSize fit_into) {
  zoom_ = percent;
  if (image_.isNull()) {
    display_ = {};
  } else if (percent == 0) {
    display_ = image_.size();
    // Fitting never enlarges: small photos stay sharp at their own size.
    if (display_.width() > fit_into.width() || display_.height() > fit_into.height()) {
      display_ = image_.size().scaled(fit_into, Qt::KeepAspectRatio);
    }
  } else {
    display_ = image_.size() * percent / 100;
  }
  setFixedSize(display_.expandedTo(QSize(1, 1)));
  update();
}

imaging::EditSelection PhotoCanvas::selection() const {
  imaging::EditSelection selected;
  if (selection_.isEmpty()) return selected;
  selected.left = selection_.left();
  selected.top = selection_.top();
  selected.right = selection_.left() + selection_.width();
  selected.bottom = selection_.top() + selection_.height();
  selected.shape = static_cast<int32_t>(shape_);
  return selected;
}

void PhotoCanvas::ClearSelection() {
  selection_ = {};
  update();
}

void PhotoCanvas::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  if (!image_.isNull()) painter.drawImage(QRect(QPoint(0, 0), display_), image_);
  if (selection_.isEmpty()) return;
  painter.setPen(QPen(Qt::white, 1, Qt::DashLine));
  painter.setBrush(Qt::NoBrush);
  const QRect outline = selection_.adjusted(0, 0, -1, -1);
  if (shape_ == imaging::SelectionShape::kEllipse) {
    painter.drawEllipse(outline);
  } else {
    painter.drawRect(outline);
  }
}

void PhotoCanvas::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return;
  anchor_ = event->position().toPoint();
  dragging_ = true;
  selection_ = {};
  update();
}

void PhotoCanvas::mouseMoveEvent(QMouseEvent* event) {
  if (!dragging_) return;
  // From the press point up to, not including, the pointer: a drag of 20 pixels selects 20.
  const QPoint at = event->position().toPoint();
  const QPoint top_left(std::min(anchor_.x(), at.x()), std::min(anchor_.y(), at.y()));
  const QSize size(std::abs(at.x() - anchor_.x()), std::abs(at.y() - anchor_.y()));
  selection_ = QRect(top_left, size) & QRect(QPoint(0, 0), display_);
  update();
}

void PhotoCanvas::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || !dragging_) return;
  mouseMoveEvent(event);
  dragging_ = false;
}

PhotoViewer::PhotoViewer(std::vector<Photo> photos, int index, QWidget* parent)
    : QWidget(parent, Qt::Window), photos_(std::move(photos)), runner_(new JobRunner(this)) {
  setObjectName("PhotoViewer");
  setWindowTitle("Quorvane");
  header_ = new HtmlPane(this);
  header_->setObjectName("PhotoHeader");
  header_->setFrameShape(QFrame::NoFrame);
  header_->FitHeightToPage(5);
  LinkRouter* links = header_->router();
  links->set_named_commands([this](const QString& name) {
    const Command* command = FindNamedCommand(name.toStdString());
    return command ? command->id : 0;
  });
  connect(links, &LinkRouter::NavigateRequested, this,
          [this](int step) { RunCommand(step > 0 ? kCmdNextPhoto : kCmdPreviousPhoto); });
  // Commands of the window run here; the rest (the description editor) go to the frame.
  connect(
      links, &LinkRouter::CommandPosted, this,
      [this](int id) {
        if (action(id)) {
          if (action(id)->isEnabled()) RunCommand(id);
        } else {
          emit CommandPosted(id);
        }
      },
      Qt::QueuedConnection);
  scroll_ = new QScrollArea(this);
  scroll_->setAlignment(Qt::AlignCenter);
  canvas_ = new PhotoCanvas(scroll_);
  scroll_->setWidget(canvas_);
  auto* tools = new QToolBar(this);
  BuildActions();
  tools->addAction(actions_.at(kCmdPreviousPhoto));
  tools->addAction(actions_.at(kCmdNextPhoto));
  tools->addSeparator();
  tools->addAction(rectangle_);
  tools->addAction(ellipse_);
  tools->addSeparator();
  tools->addAction(actions_.at(kCmdSave));
  tools->addAction(actions_.at(kCmdUndo));
  tools->addAction(actions_.at(kCmdRedo));
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(tools);
  layout->addWidget(header_);
  layout->addWidget(scroll_, 1);
  resize(800, 600);
  connect(runner_, &JobRunner::BusyChanged, this, &PhotoViewer::UpdateActions);
  ShowPhoto(index);
}

PhotoViewer::~PhotoViewer() { runner_->WaitUntilIdle(); }

void PhotoViewer::BuildActions() {
  auto add = [this](int id, const QString& text, const QString& shortcut = {}) {
    auto* action = new QAction(text, this);
    if (!shortcut.isEmpty()) action->setShortcut(QKeySequence(shortcut));
    action->setShortcutContext(Qt::WindowShortcut);
    connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
    addAction(action);
    actions_[id] = action;
  };
  for (const Command& command : Commands()) {
    if (command.id > 0 && command.menu.starts_with(kViewerMenu) && command.id != kCmdCrop) {
      add(command.id, FromUtf8(CommandLabel(command.text)));
    }
  }
  actions_.at(kCmdPreviousPhoto)
      ->setShortcuts({QKeySequence(Qt::Key_PageUp), QKeySequence(Qt::Key_Left)});
  actions_.at(kCmdNextPhoto)
      ->setShortcuts({QKeySequence(Qt::Key_PageDown), QKeySequence(Qt::Key_Right)});
  // Home and End go to the first and the last photo.
  for (auto [key, first] : {std::pair{Qt::Key_Home, true}, std::pair{Qt::Key_End, false}}) {
    auto* jump = new QAction(this);
    jump->setShortcut(QKeySequence(key));
    connect(jump, &QAction::triggered, this,
            [this, first] { ShowPhoto(first ? 0 : static_cast<int>(photos_.size()) - 1); });
    addAction(jump);
  }
  for (const imaging::EditCommand& edit : imaging::kEditCommands) {
    add(edit.id, FromUtf8(edit.menu_text.empty() ? edit.tool_tip : edit.menu_text));
  }
  add(kCmdSave, FromUtf8(CommandLabel(FindCommand(kCmdSave)->text)), "Ctrl+S");
  actions_.at(kCmdSave)->setToolTip(tr("Put the edited photo into its album (Ctrl+S)"));
  add(kCmdUndo, "&Undo", "Ctrl+Z");
  add(kCmdRedo, "&Redo", "Ctrl+Shift+Z");
  auto* shapes = new QActionGroup(this);
  rectangle_ = new QAction(tr("Rectangle Selection"), shapes);
  ellipse_ = new QAction(tr("Ellipse Selection"), shapes);
  for (QAction* shape : {rectangle_, ellipse_}) shape->setCheckable(true);
  rectangle_->setChecked(true);
  connect(rectangle_, &QAction::triggered, this,
          [this] { canvas_->SetShape(imaging::SelectionShape::kRectangle); });
  connect(ellipse_, &QAction::triggered, this,
          [this] { canvas_->SetShape(imaging::SelectionShape::kEllipse); });
}

QAction* PhotoViewer::action(int id) const {
  auto it = actions_.find(id);
  return it == actions_.end() ? nullptr : it->second;
}

void PhotoViewer::ShowPhoto(int index) {
  if (index < 0 || index >= static_cast<int>(photos_.size()) || runner_->busy()) return;
  if (has_unsaved_edits()) {
    SaveEdits([this, index] { ShowPhoto(index); });
    return;
  }
  index_ = index;
  auto loaded = std::make_shared<image::Image>();
  auto converted = std::make_shared<QImage>();
  const std::string path = photos_[static_cast<size_t>(index)].path.toStdString();
  runner_->Start(
      tr("Loading image from album..."),
      [path, loaded, converted](platform::ProgressSink&) {
        if (!loaded->Load(path)) return platform::kFailed;
        *converted = ToQImage(*loaded);
        return platform::kOk;
      },
      [this, index, loaded, converted](platform::ResultCode result) {
        if (result != platform::kOk) {
          document_.reset();
          Install({});
          header_->router()->Show(
              "photo:", tr("Unable to load %1")
                            .arg(photos_[static_cast<size_t>(index)].name.toHtmlEscaped()));
          emit PhotoShown(index);
          return;
        }
        document_ = std::make_unique<imaging::ViewerDocument>(std::move(*loaded));
        saved_step_ = document_->history().index();
        Install(*converted);
        emit PhotoShown(index);
      });
}

void PhotoViewer::Install(const QImage& image) {
  shown_ = image;
  canvas_->SetImage(image);
  canvas_->SetZoom(zoom_, scroll_->viewport()->size());
  UpdateHeader();
  UpdateActions();
}

QString PhotoViewer::header() const { return header_->router()->html(); }

void PhotoViewer::UpdateHeader() {
  if (index_ < 0) return;
  const Photo& photo = photos_[static_cast<size_t>(index_)];
  const QString caption =
      photo.caption.isEmpty() ? QString() : ":&nbsp;" + photo.caption.toHtmlEscaped();
  // The placeholders first: a caption or file name is shown as written, braces and all.
  QString text = QString(kHeaderTemplate);
  text.replace("{PHOTO_INDEX}", QString::number(index_ + 1));
  text.replace("{PHOTO_COUNT}", QString::number(photos_.size()));
  text =
      text.arg(photo.name.toHtmlEscaped(), QString::number(shown_.width()),
               QString::number(shown_.height()), QString::number(canvas_->display_size().width()),
               QString::number(canvas_->display_size().height()), caption);
  header_->router()->Show("photo:", SubstitutePlaceholders(text, {}));
}

void PhotoViewer::UpdateActions() {
  const bool idle = !runner_->busy();
  for (auto& [id, entry] : actions_) entry->setEnabled(idle && document_ != nullptr);
  actions_.at(kCmdPreviousPhoto)->setEnabled(idle && index_ > 0);
  actions_.at(kCmdNextPhoto)->setEnabled(idle && index_ + 1 < static_cast<int>(photos_.size()));
  actions_.at(kCmdSave)->setEnabled(idle && !saving_ && save_back_ && has_unsaved_edits());
  if (!document_) return;
  const album::HistoryMenuItem undo = document_->history().UndoMenu();
  const album::HistoryMenuItem redo = document_->history().RedoMenu();
  actions_.at(kCmdUndo)->setText(FromUtf8(CommandLabel(undo.text)));
  actions_.at(kCmdUndo)->setEnabled(idle && undo.enabled);
  actions_.at(kCmdRedo)->setText(FromUtf8(CommandLabel(redo.text)));
  actions_.at(kCmdRedo)->setEnabled(idle && redo.enabled);
}

bool PhotoViewer::has_unsaved_edits() const {
  return document_ && document_->history().index() != saved_step_;
}

void PhotoViewer::SaveEdits(std::function<void()> then) {
  if (saving_) return;
  if (!has_unsaved_edits() || !save_back_) {
    if (then) then();
    return;
  }
  saving_ = true;
  UpdateActions();
  const int step = document_->history().index();
  QPointer<PhotoViewer> self = this;
  save_back_(photos_[static_cast<size_t>(index_)].name, document_->image(),
             [self, step, then = std::move(then)](bool saved) {
               if (!self) return;
               self->saving_ = false;
               if (saved) self->saved_step_ = step;
               self->UpdateActions();
               if (saved && then) then();
             });
}

void PhotoViewer::closeEvent(QCloseEvent* event) {
  if (discard_ || !has_unsaved_edits() || !save_back_) {
    event->accept();
    return;
  }
  event->ignore();
  if (saving_) return;
  QPointer<PhotoViewer> self = this;
  SaveEdits([self] {
    if (self) self->close();
  });
  if (saving_) return;
  // The album refused them (read-only, say; its message is up): the user decides.
  auto* ask = new QMessageBox(QMessageBox::Question, "Quorvane",
                              tr("The changes to %1 are not in the album. Close without them?")
                                  .arg(photos_[static_cast<size_t>(index_)].name),
                              QMessageBox::Yes | QMessageBox::No, this);
  ask->setAttribute(Qt::WA_DeleteOnClose);
  connect(ask, &QMessageBox::accepted, this, [this] {
    discard_ = true;
    close();
  });
  ask->open();
}

void PhotoViewer::RunCommand(int id) {
  if (runner_->busy()) return;
  if (id == kCmdSave) {
    SaveEdits();
    return;
  }
  if (const int percent = ZoomOf(id); percent > 0 || id == kCmdMyAlbums) {
    zoom_ = percent > 0 ? percent : 0;  // 32849 here is "Fit in Window"
    canvas_->SetZoom(zoom_, scroll_->viewport()->size());
    UpdateHeader();
    return;
  }
  switch (id) {
    case kCmdNextPhoto:
      ShowPhoto(index_ + 1);
      return;
    case kCmdPreviousPhoto:
      ShowPhoto(index_ - 1);
      return;
    case kCmdUndo:
    case kCmdRedo:
      if (document_ && (id == kCmdUndo ? document_->Undo() : document_->Redo())) {
        Install(ToQImage(document_->image()));
      }
      return;
    default:
      RunEdit(id);
  }
}

void PhotoViewer::RunEdit(int id) {
  const imaging::EditCommand* command = imaging::FindEditCommand(id);
  if (!command || !document_) return;
  AskEditValues(
      *command, shown_, shown_.size(), this,
      [this, command](const imaging::EditValues& values) { StartEdit(*command, values); });
}

void PhotoViewer::StartEdit(const imaging::EditCommand& command,
                            const imaging::EditValues& values) {
  if (!document_ || runner_->busy()) return;
  const int id = command.id;
  const imaging::EditSelection selection = canvas_->selection();
  const QSize display = canvas_->display_size();
  imaging::ViewerDocument* document = document_.get();
  auto converted = std::make_shared<QImage>();
  runner_->Start(
      FromUtf8(command.progress_text),
      [document, command = &command, values, selection, display, converted,
       mode = resample_mode_](platform::ProgressSink& progress) {
        const platform::ResultCode code = document->RunEdit(
            *command, values, selection, {display.width(), display.height()}, progress, mode);
        if (code == platform::kOk) *converted = ToQImage(document->image());
        return code;
      },
      [this, id, converted](platform::ResultCode result) {
        if (result == platform::kOk) {
          Install(*converted);
        } else if (result == platform::kFailed) {
          QMessageBox::warning(this, "Quorvane", FromUtf8(document_->last_error()));
        }
        emit EditFinished(id, result);
      });
}

void PhotoViewer::contextMenuEvent(QContextMenuEvent* event) {
  QMenu menu(this);
  std::map<QString, QMenu*> submenus;
  for (const Command& command : Commands()) {
    if (!command.menu.starts_with(kViewerMenu)) continue;
    QMenu* target = &menu;
    if (command.menu != kViewerMenu) {
      const QString name = FromUtf8(command.menu.substr(kViewerMenu.size() + 1));
      if (!submenus.count(name)) submenus[name] = menu.addMenu(name);
      target = submenus[name];
    }
    if (command.id == 0) {
      target->addSeparator();
    } else if (QAction* entry = action(command.id)) {
      target->addAction(entry);
    }
  }
  QMenu* edits = menu.addMenu(tr("&Edit Photo"));
  for (const imaging::EditCommand& edit : imaging::kEditCommands) {
    if (edit.id != kCmdCrop) edits->addAction(action(edit.id));
  }
  menu.addSeparator();
  menu.addAction(action(kCmdSave));
  menu.addAction(action(kCmdUndo));
  menu.addAction(action(kCmdRedo));
  menu.exec(event->globalPos());
}

void PhotoViewer::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  if (zoom_ == 0) {
    canvas_->SetZoom(0, scroll_->viewport()->size());
    UpdateHeader();
  }
}

}  // namespace quorvane::app
