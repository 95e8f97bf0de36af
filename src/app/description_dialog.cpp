#include "app/description_dialog.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QVBoxLayout>

namespace quorvane::app {
namespace {

QString FromUtf8(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

DescriptionDialog::DescriptionDialog(const album::Album& album, QWidget* parent) : QDialog(parent) {
  setObjectName("AlbumDescriptionDialog");
  setWindowTitle(tr("Album Description"));
  Build(tr("&Title:"), album.date(), false);
  title_->setText(FromUtf8(album.title()));
  description_->setPlainText(FromUtf8(album.description()));
}

DescriptionDialog::DescriptionDialog(const album::AlbumPhoto& photo, int number, QWidget* parent)
    : QDialog(parent) {
  setObjectName("PhotoDescriptionDialog");
  setWindowTitle(tr("Photo %1: %2").arg(number).arg(FromUtf8(photo.image_file)));
  Build(tr("&Caption:"), photo.date, true);
  title_->setText(FromUtf8(photo.title));
  description_->setPlainText(FromUtf8(photo.description));
  keywords_->setText(FromUtf8(photo.keywords));
}

void DescriptionDialog::Build(const QString& title_label, platform::OleDate date,
                              bool with_keywords) {
  title_ = new QLineEdit(this);
  description_ = new QPlainTextEdit(this);
  description_->setTabChangesFocus(true);
  has_date_ = new QCheckBox(tr("&Date:"), this);
  date_ = new QDateEdit(QDate::currentDate(), this);
  date_->setCalendarPopup(true);
  date_->setDisplayFormat("yyyy-MM-dd");
  date_->setMinimumDate(QDate(100, 1, 1));
  platform::CivilTime civil;
  const bool dated = platform::CivilFromOleDate(date, &civil);
  if (dated) date_->setDate(QDate(civil.year, civil.month, civil.day));
  has_date_->setChecked(dated);
  date_->setEnabled(dated);
  connect(has_date_, &QCheckBox::toggled, date_, &QWidget::setEnabled);
  auto* form = new QFormLayout;
  form->addRow(title_label, title_);
  form->addRow(tr("D&escription:"), description_);
  if (with_keywords) {
    keywords_ = new QLineEdit(this);
    keywords_->setPlaceholderText(tr("Words that search finds this photo by"));
    form->addRow(tr("&Keywords:"), keywords_);
  }
  form->addRow(has_date_, date_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(buttons);
  resize(440, 320);
}

platform::OleDate DescriptionDialog::date() const {
  if (!has_date_->isChecked()) return platform::kNoDate;
  const QDate date = date_->date();
  platform::CivilTime civil;
  civil.year = date.year();
  civil.month = date.month();
  civil.day = date.day();
  platform::OleDate value = platform::kNoDate;
  return platform::OleDateFromCivil(civil, &value) ? value : platform::kNoDate;
}

album::AlbumDetails DescriptionDialog::album_details() const {
  return {title_->text().toStdString(), description_->toPlainText().toStdString(), date()};
}

album::PhotoDetails DescriptionDialog::photo_details() const {
  return {title_->text().toStdString(), description_->toPlainText().toStdString(),
          keywords_ ? std::optional(keywords_->text().toStdString()) : std::nullopt, date()};
}

}  // namespace quorvane::app
