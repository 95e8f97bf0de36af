// The album and photo description editors: what a person writes about the album (title, date,
// description) or about one photo (caption, description, keywords, date). The dialog only
// gathers the fields; the frame records the change in the album's history.
#pragma once

#include <QDialog>

#include "album/details_records.h"

class QCheckBox;
class QDateEdit;
class QLineEdit;
class QPlainTextEdit;

namespace quorvane::app {

class DescriptionDialog : public QDialog {
  Q_OBJECT
 public:
  // The album's editor, filled from `album`.
  DescriptionDialog(const album::Album& album, QWidget* parent);
  // The editor of `photo`, the photo numbered `number` (from 1) of the album.
  DescriptionDialog(const album::AlbumPhoto& photo, int number, QWidget* parent);

  // Every field as the dialog holds it (the caption goes in `title`).
  album::AlbumDetails album_details() const;
  album::PhotoDetails photo_details() const;

  QLineEdit* title_edit() const { return title_; }
  QPlainTextEdit* description_edit() const { return description_; }
  QLineEdit* keywords_edit() const { return keywords_; }
  QCheckBox* has_date() const { return has_date_; }
  QDateEdit* date_edit() const { return date_; }

 private:
  void Build(const QString& title_label, platform::OleDate date, bool with_keywords);
  platform::OleDate date() const;

  QLineEdit* title_ = nullptr;
  QPlainTextEdit* description_ = nullptr;
  QLineEdit* keywords_ = nullptr;
  QCheckBox* has_date_ = nullptr;
  QDateEdit* date_ = nullptr;
};

}  // namespace quorvane::app
