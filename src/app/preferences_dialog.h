// The preferences: the folders (album library, thumbnail cache, the file browser's first
// folder), how thumbnails are made (JPEG quality, resampling), how resize edits resample, the
// file browser's cells, whether published web albums lose private data, and the update check. The
// dialog edits a copy of the settings; the caller saves what comes back through the settings store.
// Mail settings have their own wizard.
#pragma once

#include <QDialog>

#include "settings/settings.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSpinBox;

namespace quorvane::app {

class PreferencesDialog : public QDialog {
  Q_OBJECT
 public:
  PreferencesDialog(const settings::Settings& values, QWidget* parent);

  // `values` given at construction with the dialog's fields written over it.
  settings::Settings values() const;

  QLineEdit* library_edit() const { return library_; }
  QLineEdit* cache_edit() const { return cache_; }
  QLineEdit* browser_edit() const { return browser_; }
  QSpinBox* quality_box() const { return quality_; }
  QComboBox* thumbnail_mode_box() const { return thumbnail_mode_; }
  QComboBox* resize_mode_box() const { return resize_mode_; }
  QSpinBox* cell_width_box() const { return cell_width_; }
  QSpinBox* cell_height_box() const { return cell_height_; }
  QCheckBox* exif_preview_box() const { return exif_preview_; }
  QCheckBox* strip_private_box() const { return strip_private_; }
  QCheckBox* update_check_box() const { return update_check_; }
  QLineEdit* update_url_edit() const { return update_url_; }

 private:
  QLineEdit* FolderRow(const QString& folder, const QString& tip);

  settings::Settings values_;
  QLineEdit* library_;
  QLineEdit* cache_;
  QLineEdit* browser_;
  QSpinBox* quality_;
  QComboBox* thumbnail_mode_;
  QComboBox* resize_mode_;
  QSpinBox* cell_width_;
  QSpinBox* cell_height_;
  QCheckBox* exif_preview_;
  QCheckBox* strip_private_;
  QCheckBox* update_check_;
  QLineEdit* update_url_;
};

}  // namespace quorvane::app
