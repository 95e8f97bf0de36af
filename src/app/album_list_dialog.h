// The library's dialogs: "Open Photo Album" (the albums of the library in one of four sort
// orders, with delete) and the new-album dialog. The rows, their order and the deletion are
// the core's album list; the dialogs show them and ask the questions.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QDialog>

#include "album/album_library.h"

class QComboBox;
class QDateEdit;
class QCheckBox;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace quorvane::app {

class AlbumListDialog : public QDialog {
  Q_OBJECT
 public:
  // Lists the albums of `library` in `sort_order`. Reading every album's index happens on a
  // worker; the list fills when it is done.
  AlbumListDialog(const std::string& library, int sort_order, QWidget* parent);
  ~AlbumListDialog() override;

  // Asked before an album is deleted: true only for Yes. A message box unless replaced.
  void set_confirm(std::function<bool(const QString&)> confirm) { confirm_ = std::move(confirm); }
  // The frame's side of a deletion: the folders of its open albums and how to close one.
  void set_open_albums(std::vector<std::string> paths,
                       std::function<void(const std::string&)> close_album) {
    open_paths_ = std::move(paths);
    close_album_ = std::move(close_album);
  }

  int sort_order() const;
  // The chosen album's folder (after OK), or empty.
  std::string chosen() const { return chosen_; }
  bool loaded() const { return loaded_; }
  QListWidget* list() const { return list_; }
  QComboBox* sort_box() const { return sort_; }
  QPushButton* delete_button() const { return delete_; }
  QPushButton* ok_button() const { return ok_; }
  void DeleteSelected();

 signals:
  void Loaded();

 private:
  void Fill();

  std::shared_ptr<album::AlbumList> albums_;
  QComboBox* sort_;
  QListWidget* list_;
  QPushButton* ok_;
  QPushButton* delete_;
  std::function<bool(const QString&)> confirm_;
  std::vector<std::string> open_paths_;
  std::function<void(const std::string&)> close_album_;
  std::string chosen_;
  bool loaded_ = false;
};

// The new-album dialog: name (the title; the folder name follows from it), description and
// an optional date.
class NewAlbumDialog : public QDialog {
  Q_OBJECT
 public:
  explicit NewAlbumDialog(QWidget* parent);
  album::NewAlbumValues values() const;
  QLineEdit* name_edit() const { return name_; }

 private:
  QLineEdit* name_;
  QPlainTextEdit* description_;
  QCheckBox* has_date_;
  QDateEdit* date_;
};

}  // namespace quorvane::app
