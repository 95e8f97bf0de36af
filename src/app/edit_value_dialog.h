// The dialogs of the edits that take a value: custom rotate (an angle, 0 to start with), gamma
// (1.8 to start with) and custom resize (a width and a height, the photo's own size to start
// with, proportions kept). Rotate and gamma show the edit on a small copy of the photo as the
// value changes; resize tells the size the photo will have.
#pragma once

#include <functional>

#include <QDialog>
#include <QImage>
#include <QSize>

#include "imaging/edit_commands.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

namespace quorvane::app {

class EditValueDialog : public QDialog {
  Q_OBJECT
 public:
  // `parameter` says which value is asked for. `sample` (may be null) is a small copy of the
  // photo for the preview; `photo_size` (may be invalid) the photo's own size.
  EditValueDialog(const imaging::EditParameterInfo& parameter, const QImage& sample,
                  QSize photo_size, QWidget* parent);

  // The chosen value in its field; the others keep their defaults.
  imaging::EditValues values() const;
  // The preview as it stands (null when there is none).
  QImage preview() const { return preview_; }

  QDoubleSpinBox* number_box() const { return number_; }
  QSpinBox* width_box() const { return width_; }
  QSpinBox* height_box() const { return height_; }
  QCheckBox* keep_proportions() const { return keep_; }

 private:
  void UpdatePreview();
  void Follow(bool width_changed);

  imaging::EditParameter kind_;
  QImage sample_;
  QSize photo_size_;
  QImage preview_;
  QDoubleSpinBox* number_ = nullptr;
  QSpinBox* width_ = nullptr;
  QSpinBox* height_ = nullptr;
  QCheckBox* keep_ = nullptr;
  QLabel* picture_ = nullptr;
  QLabel* outcome_ = nullptr;
  bool following_ = false;
};

// Runs `chosen` with the values of `command`: at once for a command that takes none, else when
// its dialog (opened window-modal on `parent`, without blocking) ends with OK.
void AskEditValues(const imaging::EditCommand& command, const QImage& sample, QSize photo_size,
                   QWidget* parent, std::function<void(const imaging::EditValues&)> chosen);

}  // namespace quorvane::app
