#include "app/help/quick_start_wizard.h"

#include <algorithm>

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "album/album_library.h"
#include "app/album_document.h"
#include "app/album_operations.h"
#include "app/command_table.h"
#include "app/main_frame.h"
#include "image/image_types.h"
#include "settings/settings.h"

namespace quorvane::app::help {
namespace {

QLabel* Words(const QString& text, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setWordWrap(true);
  label->setTextFormat(Qt::RichText);
  return label;
}

QString ImageFilter() {
  QStringList patterns;
  for (const image::ImageType& type : image::ImageTypes()) {
    patterns << "*." + QString::fromLatin1(type.extension.data(),
                                           static_cast<qsizetype>(type.extension.size()))
                           .toLower();
  }
  return QObject::tr("Photos (%1);;All files (*)").arg(patterns.join(' '));
}

// Names in the order a person reads them: "img2" before "img10", case ignored.
bool ReadingOrderLess(const QString& a, const QString& b) {
  qsizetype i = 0;
  qsizetype j = 0;
  while (i < a.size() && j < b.size()) {
    if (a[i].isDigit() && b[j].isDigit()) {
      const qsizetype a_start = i;
      const qsizetype b_start = j;
      while (i < a.size() && a[i].isDigit()) ++i;
      while (j < b.size() && b[j].isDigit()) ++j;
      QStringView x = QStringView(a).sliced(a_start, i - a_start);
      QStringView y = QStringView(b).sliced(b_start, j - b_start);
      while (x.size() > 1 && x.front() == u'0') x = x.sliced(1);
      while (y.size() > 1 && y.front() == u'0') y = y.sliced(1);
      if (x.size() != y.size()) return x.size() < y.size();
      if (const int order = x.compare(y)) return order < 0;
      continue;
    }
    const char32_t x = a[i].toCaseFolded().unicode();
    const char32_t y = b[j].toCaseFolded().unicode();
    if (x != y) return x < y;
    ++i;
    ++j;
  }
  return a.size() - i < b.size() - j;
}

// Complete once the album has a name.
class AlbumNamePage : public QWizardPage {
 public:
  AlbumNamePage(QLineEdit** name, QWidget* parent) : QWizardPage(parent) {
    name_ = *name = new QLineEdit(this);
    connect(name_, &QLineEdit::textChanged, this, &QWizardPage::completeChanged);
  }
  bool isComplete() const override { return !name_->text().trimmed().isEmpty(); }

 private:
  QLineEdit* name_;
};

}  // namespace

QuickStartWizard::QuickStartWizard(MainFrame* frame) : QWizard(frame), frame_(frame) {
  setWindowTitle(tr("Quick Start Wizard"));
  setObjectName("QuickStartWizard");
  setWizardStyle(QWizard::ModernStyle);
  setOption(QWizard::NoBackButtonOnStartPage);
  setPixmap(QWizard::LogoPixmap, QIcon(":/quorvane/quorvane.svg").pixmap(48, 48));
  setPage(kWelcomePage, WelcomePage());
  setPage(kLibraryPage, LibraryPage());
  setPage(kAlbumPage, AlbumPage());
  setPage(kPhotosPage, PhotosPage());
  setButtonText(QWizard::FinishButton, tr("&Finish"));
  resize(640, 480);
}

QWizardPage* QuickStartWizard::WelcomePage() {
  auto* page = new QWizardPage(this);
  page->setTitle(tr("Welcome to Quorvane"));
  page->setSubTitle(tr("Your first photo album in three short steps."));
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(
      Words(tr("<p>Quorvane keeps your photos in <b>albums</b>: each album is a folder with the "
               "photos, a thumbnail of each and their captions.</p>"
               "<p>This wizard</p><ol>"
               "<li>shows you where your albums are kept,</li>"
               "<li>makes your first album, and</li>"
               "<li>puts your photos in it.</li></ol>"
               "<p>You can run it again at any time from <i>Help &gt; Quick Start Wizard</i>.</p>"),
            page));
  layout->addStretch(1);
  return page;
}

QWizardPage* QuickStartWizard::LibraryPage() {
  auto* page = new QWizardPage(this);
  page->setTitle(tr("Where your albums live"));
  page->setSubTitle(tr("Every new album becomes a folder inside My Quorvane Albums."));
  library_ = new QLineEdit(
      QString::fromStdString(frame_->user_settings()->settings.myphotoalbums_path), page);
  library_->setReadOnly(true);
  auto* change = new QPushButton(tr("&Change..."), page);
  connect(change, &QPushButton::clicked, this, [this] {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, tr("My Quorvane Albums"), library_->text());
    if (!chosen.isEmpty()) SetLibraryFolder(chosen);
  });
  auto* row = new QHBoxLayout;
  row->addWidget(library_, 1);
  row->addWidget(change);
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(Words(tr("Your albums are kept in this folder. Choose another one if you "
                             "would rather keep them elsewhere, such as on a larger disk:"),
                          page));
  layout->addLayout(row);
  layout->addSpacing(12);
  layout->addWidget(Words(tr("The photos you add are <b>copied</b> into the album, so the "
                             "originals stay where they are. You can change this folder later "
                             "in <i>Options &gt; Preferences</i>."),
                          page));
  layout->addStretch(1);
  return page;
}

QWizardPage* QuickStartWizard::AlbumPage() {
  auto* page = new AlbumNamePage(&name_, this);
  page->setTitle(tr("Your first album"));
  page->setSubTitle(tr("Give it a name, such as the trip or the occasion the photos are from."));
  name_->setMaxLength(static_cast<int>(album::kMaxAlbumNameBytes));
  name_->setPlaceholderText(tr("Summer holiday"));
  description_ = new QPlainTextEdit(page);
  description_->setPlaceholderText(tr("A few words about the album (you can leave this empty)"));
  description_->setMaximumHeight(110);
  album_note_ = Words({}, page);
  // Says where the album will go, so the folder of the library page is seen to matter.
  connect(name_, &QLineEdit::textChanged, this, [this](const QString& text) {
    if (!album_location_.isEmpty()) return;
    const QString folder =
        QString::fromStdString(album::AlbumFolderName(text.trimmed().toStdString()));
    album_note_->setText(folder.isEmpty()
                             ? QString()
                             : tr("The album becomes the folder <b>%1</b> in %2.")
                                   .arg(folder.toHtmlEscaped(), library_->text().toHtmlEscaped()));
  });
  auto* form = new QFormLayout;
  form->addRow(tr("&Name:"), name_);
  form->addRow(tr("D&escription:"), description_);
  auto* layout = new QVBoxLayout(page);
  layout->addLayout(form);
  layout->addSpacing(8);
  layout->addWidget(album_note_);
  layout->addStretch(1);
  return page;
}

QWizardPage* QuickStartWizard::PhotosPage() {
  auto* page = new QWizardPage(this);
  page->setTitle(tr("Add your photos"));
  page->setSubTitle(tr("Pick some photos, or a whole folder of them, for your new album."));
  photos_ = new QListWidget(page);
  photos_->setSelectionMode(QAbstractItemView::NoSelection);
  photo_count_ = new QLabel(page);
  auto* files = new QPushButton(tr("Add &Photos..."), page);
  auto* folder = new QPushButton(tr("Add a &Folder..."), page);
  connect(files, &QPushButton::clicked, this, [this] {
    AddPhotoFiles(
        QFileDialog::getOpenFileNames(this, tr("Add Photos"), QDir::homePath(), ImageFilter()));
  });
  connect(folder, &QPushButton::clicked, this, [this] {
    const QString chosen =
        QFileDialog::getExistingDirectory(this, tr("Add a Folder"), QDir::homePath());
    if (!chosen.isEmpty()) AddPhotoFolder(chosen);
  });
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(files);
  buttons->addWidget(folder);
  buttons->addStretch(1);
  buttons->addWidget(photo_count_);
  auto* layout = new QVBoxLayout(page);
  layout->addLayout(buttons);
  layout->addWidget(photos_, 1);
  layout->addWidget(Words(tr("Later, drag photos from the file browser onto an album to add "
                             "more. Finish puts these in your album."),
                          page));
  UpdatePhotoCount();
  return page;
}

void QuickStartWizard::SetLibraryFolder(const QString& folder) {
  settings::Settings changed = frame_->user_settings()->settings;
  changed.myphotoalbums_path = QDir::toNativeSeparators(folder).toStdString();
  // As the preferences do: the folder is made when missing, kept, and the library reloaded.
  frame_->ApplySettings(changed);
  library_->setText(QString::fromStdString(frame_->user_settings()->settings.myphotoalbums_path));
}

void QuickStartWizard::AddPhotoFiles(const QStringList& files) {
  const QStringList already = photo_files();
  for (const QString& file : files) {
    const QString path = QFileInfo(file).absoluteFilePath();
    if (already.contains(path)) continue;
    auto* item = new QListWidgetItem(QFileInfo(path).fileName(), photos_);
    item->setData(Qt::UserRole, path);
    item->setToolTip(QDir::toNativeSeparators(path));
  }
  UpdatePhotoCount();
}

void QuickStartWizard::AddPhotoFolder(const QString& folder) {
  QStringList images;
  for (const QFileInfo& entry : QDir(folder).entryInfoList(QDir::Files | QDir::Readable)) {
    if (image::IsImageFileName(entry.fileName().toStdString())) {
      images << entry.absoluteFilePath();
    }
  }
  std::sort(images.begin(), images.end(), ReadingOrderLess);
  AddPhotoFiles(images);
}

QStringList QuickStartWizard::photo_files() const {
  QStringList files;
  for (int i = 0; i < photos_->count(); ++i) {
    files << photos_->item(i)->data(Qt::UserRole).toString();
  }
  return files;
}

void QuickStartWizard::UpdatePhotoCount() {
  const int count = photos_->count();
  photo_count_->setText(count == 0   ? tr("No photos chosen yet")
                        : count == 1 ? tr("1 photo chosen")
                                     : tr("%1 photos chosen").arg(count));
}

bool QuickStartWizard::validateCurrentPage() {
  if (currentId() != kAlbumPage || !album_location_.isEmpty()) {
    return QWizard::validateCurrentPage();
  }
  // The album is made on the frame's worker; the page moves on once it exists.
  if (!creating_) CreateAlbum();
  return false;
}

void QuickStartWizard::CreateAlbum() {
  album::NewAlbumValues values;
  values.name = name_->text().trimmed().toStdString();
  values.description = description_->toPlainText().toStdString();
  creating_ = true;
  button(QWizard::NextButton)->setEnabled(false);
  frame_->CreateAlbum(values, [this](AlbumDocument* document) {
    creating_ = false;
    button(QWizard::NextButton)->setEnabled(true);
    if (!document) return;  // the frame has told why
    album_location_ = QString::fromStdString(document->location());
    // One album per run: going back shows it rather than making a second.
    name_->setReadOnly(true);
    description_->setReadOnly(true);
    album_note_->setText(tr("Made <b>%1</b> in %2.")
                             .arg(name_->text().toHtmlEscaped(),
                                  QDir::toNativeSeparators(album_location_).toHtmlEscaped()));
    next();
  });
}

void QuickStartWizard::accept() {
  const QStringList files = photo_files();
  AlbumDocument* document = frame_->FindDocument(album_location_);
  QWizard::accept();
  if (!files.isEmpty() && document && frame_->album_operations()->Add(document, files, -1)) {
    // A newcomer's first album should not wait for a Save they do not know about yet.
    MainFrame* frame = frame_;
    connect(
        frame->album_operations(), &AlbumOperations::Finished, frame,
        [frame] { frame->RunCommand(kCmdSave); }, Qt::SingleShotConnection);
  }
  emit PhotosHandedOver();
}

}  // namespace quorvane::app::help
