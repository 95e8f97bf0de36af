#include "app/edit_value_dialog.h"

#include <cmath>

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/qt_image.h"

namespace quorvane::app {
namespace {

// The preview's largest side: small enough that an edit on it is instant.
constexpr int kPreviewSide = 200;
// The size a resize starts from when the photo's own is unknown.
constexpr QSize kFallbackSize(800, 600);

QString FromUtf8(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

EditValueDialog::EditValueDialog(const imaging::EditParameterInfo& parameter, const QImage& sample,
                                 QSize photo_size, QWidget* parent)
    : QDialog(parent), kind_(parameter.kind), photo_size_(photo_size) {
  setWindowTitle("Quorvane");
  if (!sample.isNull()) {
    sample_ = sample.width() > kPreviewSide || sample.height() > kPreviewSide
                  ? sample.scaled(kPreviewSide, kPreviewSide, Qt::KeepAspectRatio,
                                  Qt::SmoothTransformation)
                  : sample;
  }
  auto* form = new QFormLayout;
  if (kind_ == imaging::EditParameter::kSize) {
    const QSize start = photo_size_.isValid() ? photo_size_ : kFallbackSize;
    width_ = new QSpinBox(this);
    height_ = new QSpinBox(this);
    for (QSpinBox* side : {width_, height_}) {
      side->setRange(static_cast<int>(parameter.minimum), static_cast<int>(parameter.maximum));
      side->setSuffix(tr(" pixels"));
    }
    width_->setValue(start.width());
    height_->setValue(start.height());
    keep_ = new QCheckBox(tr("&Keep proportions"), this);
    keep_->setChecked(true);
    keep_->setEnabled(photo_size_.isValid());
    keep_->setToolTip(tr("Change the height with the width, and the width with the height"));
    outcome_ = new QLabel(this);
    form->addRow(tr("&Width:"), width_);
    form->addRow(tr("&Height:"), height_);
    form->addRow(QString(), keep_);
    form->addRow(outcome_);
    connect(width_, &QSpinBox::valueChanged, this, [this] { Follow(true); });
    connect(height_, &QSpinBox::valueChanged, this, [this] { Follow(false); });
  } else {
    number_ = new QDoubleSpinBox(this);
    number_->setRange(parameter.minimum, parameter.maximum);
    const bool angle = kind_ == imaging::EditParameter::kAngle;
    number_->setDecimals(angle ? 1 : 2);
    number_->setSingleStep(angle ? 1.0 : 0.1);
    if (angle) number_->setSuffix(tr("\u00b0"));
    number_->setValue(parameter.initial);
    number_->setToolTip(angle ? tr("Degrees clockwise; a negative angle turns counter-clockwise")
                              : tr("Above 1 lightens the middle tones, below 1 darkens them"));
    form->addRow(FromUtf8(parameter.label) + ":", number_);
    picture_ = new QLabel(this);
    picture_->setAlignment(Qt::AlignCenter);
    picture_->setMinimumSize(kPreviewSide, kPreviewSide);
    picture_->setVisible(!sample_.isNull());
    connect(number_, &QDoubleSpinBox::valueChanged, this, &EditValueDialog::UpdatePreview);
  }
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  if (picture_) layout->addWidget(picture_);
  layout->addLayout(form);
  layout->addWidget(buttons);
  UpdatePreview();
}

imaging::EditValues EditValueDialog::values() const {
  imaging::EditValues values;
  switch (kind_) {
    case imaging::EditParameter::kAngle:
      values.angle = static_cast<float>(number_->value());
      break;
    case imaging::EditParameter::kGamma:
      values.gamma = static_cast<float>(number_->value());
      break;
    case imaging::EditParameter::kSize:
      values.width = width_->value();
      values.height = height_->value();
      break;
    case imaging::EditParameter::kNone:
      break;
  }
  return values;
}

void EditValueDialog::Follow(bool width_changed) {
  if (!following_ && keep_->isChecked() && photo_size_.isValid()) {
    following_ = true;  // the other box's change must not come back here
    const double ratio = static_cast<double>(photo_size_.width()) / photo_size_.height();
    if (width_changed) {
      height_->setValue(std::max(1, static_cast<int>(std::lround(width_->value() / ratio))));
    } else {
      width_->setValue(std::max(1, static_cast<int>(std::lround(height_->value() * ratio))));
    }
    following_ = false;
  }
  UpdatePreview();
}

void EditValueDialog::UpdatePreview() {
  if (kind_ == imaging::EditParameter::kSize) {
    if (!photo_size_.isValid()) {
      outcome_->setText(tr("The photo keeps its proportions and is never enlarged."));
      return;
    }
    // The resize keeps the proportions and never enlarges, whatever the boxes say.
    const image::FitSize fit = image::FitInside(photo_size_.width(), photo_size_.height(),
                                                width_->value(), height_->value());
    outcome_->setText(fit.width == photo_size_.width() && fit.height == photo_size_.height()
                          ? tr("The photo stays %1 x %2.").arg(fit.width).arg(fit.height)
                          : tr("The photo becomes %1 x %2.").arg(fit.width).arg(fit.height));
    return;
  }
  if (sample_.isNull()) return;
  const imaging::EditCommand* command =
      imaging::FindEditCommand(kind_ == imaging::EditParameter::kAngle ? "rotate" : "gamma");
  image::Image working = FromQImage(sample_);
  const std::unique_ptr<imaging::ImageFilter> filter =
      imaging::MakeViewerFilter(*command, values(), image::ResampleMode::kBilinear);
  imaging::FilterRun run;
  preview_ = filter && filter->Apply(working, run) == imaging::kOk ? ToQImage(working) : sample_;
  picture_->setPixmap(QPixmap::fromImage(preview_));
}

void AskEditValues(const imaging::EditCommand& command, const QImage& sample, QSize photo_size,
                   QWidget* parent, std::function<void(const imaging::EditValues&)> chosen) {
  const imaging::EditParameterInfo* parameter = imaging::FindEditParameter(command.parameter);
  if (!parameter) {
    chosen({});
    return;
  }
  auto* dialog = new EditValueDialog(*parameter, sample, photo_size, parent);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(dialog, &QDialog::accepted, parent,
                   [dialog, chosen = std::move(chosen)] { chosen(dialog->values()); });
  dialog->open();
}

}  // namespace quorvane::app
