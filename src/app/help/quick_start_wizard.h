// The quick-start wizard: leads a newcomer through the three things every album needs, where
// albums live (the "My Quorvane Albums" folder of the settings, which it can change), a first
// album (made as the New Album command makes one) and the photos in it (picked as files or a
// whole folder, and added by the album operations on a worker with the progress window).
#pragma once

#include <QString>
#include <QStringList>
#include <QWizard>

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace quorvane::app {
class MainFrame;
}

namespace quorvane::app::help {

class QuickStartWizard : public QWizard {
  Q_OBJECT
 public:
  enum PageId { kWelcomePage, kLibraryPage, kAlbumPage, kPhotosPage };

  // Works on `frame`'s settings, albums and job runner; a child of the frame.
  explicit QuickStartWizard(MainFrame* frame);

  // What the "Change..." and "Add..." buttons do once their picker has answered.
  void SetLibraryFolder(const QString& folder);
  void AddPhotoFiles(const QStringList& files);
  // The image files directly inside `folder`, by name.
  void AddPhotoFolder(const QString& folder);

  QLineEdit* library_edit() const { return library_; }
  QLineEdit* name_edit() const { return name_; }
  QPlainTextEdit* description_edit() const { return description_; }
  QListWidget* photo_list() const { return photos_; }
  QStringList photo_files() const;
  // The folder of the album the wizard made, once made.
  QString album_location() const { return album_location_; }

 signals:
  // The photos chosen went to the album's job (or there were none): the wizard is done.
  void PhotosHandedOver();

 protected:
  bool validateCurrentPage() override;
  void accept() override;

 private:
  QWizardPage* WelcomePage();
  QWizardPage* LibraryPage();
  QWizardPage* AlbumPage();
  QWizardPage* PhotosPage();
  void CreateAlbum();
  void UpdatePhotoCount();

  MainFrame* frame_;
  QLineEdit* library_;
  QLineEdit* name_;
  QPlainTextEdit* description_;
  QLabel* album_note_;
  QListWidget* photos_;
  QLabel* photo_count_;
  QString album_location_;
  bool creating_ = false;
};

}  // namespace quorvane::app::help
