#include "app/album_list_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QThreadPool>
#include <QVBoxLayout>

#include "platform/ole_date.h"

namespace quorvane::app {
namespace {

QString FromUtf8(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

AlbumListDialog::AlbumListDialog(const std::string& library, int sort_order, QWidget* parent)
    : QDialog(parent), albums_(std::make_shared<album::AlbumList>()) {
  setWindowTitle(tr("Open Photo Album"));
  sort_ = new QComboBox(this);
  for (std::string_view name : album::kSortOrderNames) {
    sort_->addItem(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
  }
  sort_->setCurrentIndex(sort_order >= 0 && sort_order < sort_->count() ? sort_order : 0);
  list_ = new QListWidget(this);
  list_->setMinimumSize(420, 300);
  QFont bold = list_->font();
  bold.setBold(true);
  bold.setPointSize(10);
  list_->setFont(bold);
  ok_ = new QPushButton(tr("OK"), this);
  ok_->setDefault(true);
  delete_ = new QPushButton(tr("&Delete"), this);
  auto* cancel = new QPushButton(tr("Cancel"), this);
  auto* browse = new QPushButton(tr("&Browse..."), this);
  browse->setToolTip(tr("Open an album folder outside My Quorvane Albums"));
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(delete_);
  buttons->addWidget(browse);
  buttons->addStretch();
  buttons->addWidget(ok_);
  buttons->addWidget(cancel);
  auto* layout = new QVBoxLayout(this);
  auto* sort_row = new QHBoxLayout;
  sort_row->addWidget(new QLabel(tr("Sort by:"), this));
  sort_row->addWidget(sort_, 1);
  layout->addLayout(sort_row);
  layout->addWidget(list_, 1);
  layout->addLayout(buttons);
  ok_->setEnabled(false);
  delete_->setEnabled(false);

  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  connect(browse, &QPushButton::clicked, this, [this, library] {
    const QString folder =
        QFileDialog::getExistingDirectory(this, tr("Open Photo Album"), FromUtf8(library));
    if (folder.isEmpty()) return;
    chosen_ = folder.toStdString();
    accept();
  });
  connect(ok_, &QPushButton::clicked, this, [this] {
    const int row = list_->currentRow();
    if (row < 0) return;
    albums_->Select(row);
    chosen_ = albums_->entries()[static_cast<size_t>(row)].path;
    accept();
  });
  connect(list_, &QListWidget::itemActivated, ok_, &QPushButton::click);
  connect(delete_, &QPushButton::clicked, this, &AlbumListDialog::DeleteSelected);
  connect(sort_, &QComboBox::currentIndexChanged, this, [this](int order) {
    if (!loaded_) return;
    albums_->SetSortOrder(order);
    Fill();
  });

  // Every album's index is read: on a worker, so a large library never stalls the window.
  QPointer<AlbumListDialog> self = this;
  auto albums = albums_;
  const std::string folder = library;
  const int order = sort_->currentIndex();
  QThreadPool::globalInstance()->start([self, albums, folder, order] {
    albums->Load(folder, order);
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [self] {
          if (!self) return;
          self->loaded_ = true;
          self->albums_->SetSortOrder(self->sort_->currentIndex());
          self->Fill();
          emit self->Loaded();
        },
        Qt::QueuedConnection);
  });
}

AlbumListDialog::~AlbumListDialog() = default;

int AlbumListDialog::sort_order() const { return sort_->currentIndex(); }

void AlbumListDialog::Fill() {
  list_->clear();
  for (const album::AlbumListEntry& entry : albums_->entries()) {
    auto* item = new QListWidgetItem(FromUtf8(entry.caption), list_);
    item->setToolTip(FromUtf8(entry.path));
  }
  if (albums_->selected() >= 0) list_->setCurrentRow(albums_->selected());
  ok_->setEnabled(albums_->buttons_enabled());
  delete_->setEnabled(albums_->buttons_enabled());
}

void AlbumListDialog::DeleteSelected() {
  const int row = list_->currentRow();
  if (row < 0) return;
  albums_->Select(row);
  album::DeleteAlbumHooks hooks;
  hooks.confirm = [this](const std::string& question) {
    if (confirm_) return confirm_(FromUtf8(question));
    return QMessageBox::question(this, "Quorvane", FromUtf8(question),
                                 QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
  };
  hooks.open_album_paths = open_paths_;
  hooks.close_album = close_album_;
  if (albums_->DeleteSelected(hooks) == album::DeleteOutcome::kFailed) {
    QMessageBox::critical(this, "Quorvane", FromUtf8(albums_->last_error()));
    return;
  }
  Fill();
}

NewAlbumDialog::NewAlbumDialog(QWidget* parent) : QDialog(parent) {
  setWindowTitle(tr("New Photo Album"));
  name_ = new QLineEdit(this);
  name_->setMaxLength(static_cast<int>(album::kMaxAlbumNameBytes));
  description_ = new QPlainTextEdit(this);
  has_date_ = new QCheckBox(tr("Album &date:"), this);
  date_ = new QDateEdit(QDate::currentDate(), this);
  date_->setCalendarPopup(true);
  date_->setEnabled(false);
  connect(has_date_, &QCheckBox::toggled, date_, &QWidget::setEnabled);
  auto* form = new QFormLayout;
  form->addRow(tr("&Name:"), name_);
  form->addRow(tr("D&escription:"), description_);
  form->addRow(has_date_, date_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  buttons->button(QDialogButtonBox::Ok)->setEnabled(false);
  connect(name_, &QLineEdit::textChanged, this, [buttons](const QString& text) {
    buttons->button(QDialogButtonBox::Ok)->setEnabled(!text.trimmed().isEmpty());
  });
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(buttons);
}

album::NewAlbumValues NewAlbumDialog::values() const {
  album::NewAlbumValues values;
  values.name = name_->text().toStdString();
  values.description = description_->toPlainText().toStdString();
  if (has_date_->isChecked()) {
    const QDate date = date_->date();
    platform::CivilTime civil;
    civil.year = date.year();
    civil.month = date.month();
    civil.day = date.day();
    if (!platform::OleDateFromCivil(civil, &values.date)) values.date = platform::kNoDate;
  }
  return values;
}

}  // namespace quorvane::app
