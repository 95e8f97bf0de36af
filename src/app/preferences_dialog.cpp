#include "app/preferences_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/file_browser_thumbnails.h"
#include "app/help/update_check.h"
#include "settings/album_settings.h"

namespace quorvane::app {
namespace {

// The file browser's cell limits, as FileBrowserOptionsFrom accepts them.
constexpr int kCellMinimum = 16;
constexpr int kCellMaximum = 1024;

QComboBox* ResampleBox(image::ResampleMode mode, QWidget* parent) {
  auto* box = new QComboBox(parent);
  // In the order of the stored numbers.
  box->addItem(QObject::tr("Nearest pixel (fastest)"));
  box->addItem(QObject::tr("Bilinear"));
  box->addItem(QObject::tr("Bicubic"));
  box->addItem(QObject::tr("Lanczos (sharpest)"));
  box->setCurrentIndex(static_cast<int>(mode));
  return box;
}

QString FromPath(const std::string& path) { return QString::fromStdString(path); }

}  // namespace

PreferencesDialog::PreferencesDialog(const settings::Settings& values, QWidget* parent)
    : QDialog(parent), values_(values) {
  setWindowTitle(tr("Preferences"));
  const album::ThumbnailOptions thumbnails = settings::ThumbnailOptionsFrom(values);
  const FileBrowserOptions browser = FileBrowserOptionsFrom(values);

  auto* folders = new QGroupBox(tr("Folders"), this);
  auto* folder_form = new QFormLayout(folders);
  library_ = FolderRow(FromPath(values.myphotoalbums_path),
                       tr("Where new albums go, and the albums the album list shows"));
  cache_ = FolderRow(FromPath(values.thumbnail_cache_path),
                     tr("Where the file browser keeps the thumbnails it has made"));
  browser_ = FolderRow(FromPath(values.filebrowser_path),
                       tr("The folder the file browser shows when Quorvane starts"));
  folder_form->addRow(tr("My Quorvane &Albums:"), library_->parentWidget());
  folder_form->addRow(tr("&Thumbnail cache:"), cache_->parentWidget());
  folder_form->addRow(tr("&File browser:"), browser_->parentWidget());

  auto* pictures = new QGroupBox(tr("Thumbnails and resizing"), this);
  auto* picture_form = new QFormLayout(pictures);
  quality_ = new QSpinBox(this);
  quality_->setRange(1, 100);
  quality_->setValue(thumbnails.jpeg_quality);
  quality_->setToolTip(tr("JPEG quality of album thumbnails: higher is sharper and larger"));
  thumbnail_mode_ = ResampleBox(thumbnails.mode, this);
  thumbnail_mode_->setToolTip(tr("How album and file browser thumbnails are scaled down"));
  resize_mode_ = ResampleBox(settings::EditResampleModeFrom(values), this);
  resize_mode_->setToolTip(tr("How the Resize commands scale photos"));
  picture_form->addRow(tr("Thumbnail &quality:"), quality_);
  picture_form->addRow(tr("Thumbnail &resampling:"), thumbnail_mode_);
  picture_form->addRow(tr("Resi&ze resampling:"), resize_mode_);

  auto* browsing = new QGroupBox(tr("File browser"), this);
  auto* browsing_form = new QFormLayout(browsing);
  cell_width_ = new QSpinBox(this);
  cell_height_ = new QSpinBox(this);
  for (QSpinBox* side : {cell_width_, cell_height_}) {
    side->setRange(kCellMinimum, kCellMaximum);
    side->setSuffix(tr(" pixels"));
  }
  cell_width_->setValue(browser.cell.width());
  cell_height_->setValue(browser.cell.height());
  exif_preview_ = new QCheckBox(tr("Use the camera's &preview pictures (faster)"), this);
  exif_preview_->setChecked(browser.use_exif_preview);
  exif_preview_->setToolTip(
      tr("JPEG photos carry a small preview; using it is quicker, though it may look softer"));
  browsing_form->addRow(tr("Cell &width:"), cell_width_);
  browsing_form->addRow(tr("Cell &height:"), cell_height_);
  browsing_form->addRow(exif_preview_);

  strip_private_ = new QCheckBox(tr("Remove &location and owner data from web album photos"), this);
  strip_private_->setChecked(values.web_publish_stripprivate);

  auto* updates = new QGroupBox(tr("Updates"), this);
  auto* update_form = new QFormLayout(updates);
  update_check_ = new QCheckBox(tr("&Look for a newer version once a day"), this);
  update_check_->setChecked(help::UpdateCheckEnabled(values));
  update_url_ = new QLineEdit(QString::fromStdString(help::UpdateCheckUrl(values)), this);
  update_url_->setPlaceholderText(tr("https://... (the address of the version file)"));
  update_url_->setEnabled(update_check_->isChecked());
  connect(update_check_, &QCheckBox::toggled, update_url_, &QWidget::setEnabled);
  update_form->addRow(update_check_);
  update_form->addRow(tr("Version file &address:"), update_url_);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(folders);
  layout->addWidget(pictures);
  layout->addWidget(browsing);
  layout->addWidget(strip_private_);
  layout->addWidget(updates);
  layout->addWidget(buttons);
}

QLineEdit* PreferencesDialog::FolderRow(const QString& folder, const QString& tip) {
  auto* row = new QWidget(this);
  auto* edit = new QLineEdit(folder, row);
  edit->setToolTip(tip);
  edit->setMinimumWidth(320);
  auto* browse = new QPushButton(tr("Browse..."), row);
  browse->setToolTip(tip);
  connect(browse, &QPushButton::clicked, this, [this, edit] {
    const QString chosen = QFileDialog::getExistingDirectory(this, windowTitle(), edit->text());
    if (!chosen.isEmpty()) edit->setText(chosen);
  });
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(edit, 1);
  layout->addWidget(browse);
  return edit;
}

settings::Settings PreferencesDialog::values() const {
  settings::Settings values = values_;
  // An emptied folder box keeps the folder: a setting without a folder would be unusable.
  auto folder = [](const QLineEdit* edit, std::string* path) {
    const QString text = edit->text().trimmed();
    if (!text.isEmpty()) *path = text.toStdString();
  };
  folder(library_, &values.myphotoalbums_path);
  folder(cache_, &values.thumbnail_cache_path);
  folder(browser_, &values.filebrowser_path);
  album::ThumbnailOptions thumbnails;
  thumbnails.jpeg_quality = quality_->value();
  thumbnails.mode = image::ResampleModeFromInt(thumbnail_mode_->currentIndex());
  settings::SetThumbnailOptions(&values, thumbnails);
  settings::SetEditResampleMode(&values, image::ResampleModeFromInt(resize_mode_->currentIndex()));
  values.options.insert_or_assign("options.filebrowser.cellwidth", int32_t{cell_width_->value()});
  values.options.insert_or_assign("options.filebrowser.cellheight", int32_t{cell_height_->value()});
  values.options.insert_or_assign("options.filebrowser.exifpreview",
                                  int32_t{exif_preview_->isChecked() ? 1 : 0});
  values.web_publish_stripprivate = strip_private_->isChecked();
  values.options.insert_or_assign(std::string(help::kUpdateCheckEnableOption),
                                  int32_t{update_check_->isChecked() ? 1 : 0});
  values.options.insert_or_assign(std::string(help::kUpdateCheckUrlOption),
                                  update_url_->text().trimmed().toStdString());
  return values;
}

}  // namespace quorvane::app
