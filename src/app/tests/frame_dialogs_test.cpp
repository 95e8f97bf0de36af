// The frame's dialogs and the ways photos come in from outside: the edit value dialogs with
// their starting values, the preferences kept through the settings store, a picture pasted
// from the clipboard, files activated in the file browser, and the library in the left pane.
#include <bit>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTest>

#include "app/album_document.h"
#include "app/command_table.h"
#include "app/edit_value_dialog.h"
#include "app/file_browser.h"
#include "app/file_browser_thumbnails.h"
#include "app/help/update_check.h"
#include "app/job_runner.h"
#include "app/library_pane.h"
#include "app/main_frame.h"
#include "app/preferences_dialog.h"
#include "app/scanner.h"
#include "app/screen_capture.h"
#include "app/tests/app_test_support.h"
#include "settings/album_settings.h"

namespace quorvane::app {
namespace {

const imaging::EditParameterInfo& Parameter(imaging::EditParameter kind) {
  return *imaging::FindEditParameter(kind);
}

TEST(EditValueDialogs, StartAtTheirInitialValues) {
  EditValueDialog gamma(Parameter(imaging::EditParameter::kGamma), {}, {}, nullptr);
  // 1.8 exactly as the single-precision value the edit has always started from.
  EXPECT_EQ(std::bit_cast<uint32_t>(gamma.values().gamma), 0x3FE66666u);
  EditValueDialog rotate(Parameter(imaging::EditParameter::kAngle), {}, {}, nullptr);
  EXPECT_EQ(rotate.values().angle, 0.0f);
  EditValueDialog resize(Parameter(imaging::EditParameter::kSize), {}, QSize(2000, 1000), nullptr);
  EXPECT_EQ(resize.values().width, 2000);
  EXPECT_EQ(resize.values().height, 1000);
  // A size unknown: a common screen size to start from, and no proportions to keep.
  EditValueDialog blind(Parameter(imaging::EditParameter::kSize), {}, {}, nullptr);
  EXPECT_EQ(blind.values().width, 800);
  EXPECT_FALSE(blind.keep_proportions()->isEnabled());
}

TEST(EditValueDialogs, ResizeKeepsProportionsAndRotatePreviews) {
  EditValueDialog resize(Parameter(imaging::EditParameter::kSize), {}, QSize(2000, 1000), nullptr);
  resize.width_box()->setValue(1024);
  EXPECT_EQ(resize.values().height, 512);
  resize.keep_proportions()->setChecked(false);
  resize.height_box()->setValue(768);
  EXPECT_EQ(resize.values().width, 1024);

  QImage sample(40, 20, QImage::Format_RGB32);
  sample.fill(Qt::red);
  EditValueDialog rotate(Parameter(imaging::EditParameter::kAngle), sample, sample.size(), nullptr);
  EXPECT_EQ(rotate.preview().size(), QSize(40, 20));
  rotate.number_box()->setValue(90);
  EXPECT_EQ(rotate.values().angle, 90.0f);
  EXPECT_EQ(rotate.preview().size(), QSize(20, 40));
}

TEST(ScreenCapture, TheDraggedRectangleIsCutFromTheFrozenScreen) {
  QPixmap shot(200, 100);
  shot.fill(Qt::blue);
  auto pick = [&](const std::function<void(RegionPicker&)>& act) {
    auto* picker = new RegionPicker(shot);
    picker->resize(shot.size());
    QImage picked(1, 1, QImage::Format_RGB32);
    QObject::connect(picker, &RegionPicker::Picked, [&](const QImage& image) { picked = image; });
    act(*picker);  // the picker closes and deletes itself once it has picked
    return picked;
  };
  EXPECT_EQ(pick([](RegionPicker& picker) {
              QTest::mousePress(&picker, Qt::LeftButton, {}, QPoint(10, 10));
              QTest::mouseMove(&picker, QPoint(60, 40));
              QTest::mouseRelease(&picker, Qt::LeftButton, {}, QPoint(60, 40));
            }).size(),
            QSize(50, 30));
  // A click takes the whole screen; Escape takes nothing.
  EXPECT_EQ(pick([](RegionPicker& picker) {
              QTest::mouseClick(&picker, Qt::LeftButton, {}, QPoint(5, 5));
            }).size(),
            QSize(200, 100));
  EXPECT_TRUE(
      pick([](RegionPicker& picker) { QTest::keyClick(&picker, Qt::Key_Escape); }).isNull());
}

class FrameFeeds : public FrameTest {
 protected:
  size_t PhotoCount() const { return frame_->current_document()->album().photos().size(); }
};

TEST_F(FrameFeeds, PreferencesAreKeptThroughTheSettingsStore) {
  frame_->RunCommand(kCmdPreferences);
  auto* dialog = frame_->findChild<PreferencesDialog*>();
  ASSERT_NE(dialog, nullptr);
  // It starts from the settings as they are.
  EXPECT_EQ(dialog->library_edit()->text().toStdString(), user_.settings.myphotoalbums_path);
  EXPECT_EQ(dialog->quality_box()->value(), album::ThumbnailOptions{}.jpeg_quality);
  EXPECT_FALSE(dialog->update_check_box()->isChecked());

  const std::filesystem::path library = dir_ / "elsewhere" / "Albums";
  dialog->library_edit()->setText(QString::fromStdString(library.string()));
  dialog->quality_box()->setValue(70);
  dialog->thumbnail_mode_box()->setCurrentIndex(3);
  dialog->resize_mode_box()->setCurrentIndex(0);
  dialog->cell_width_box()->setValue(150);
  dialog->exif_preview_box()->setChecked(false);
  dialog->strip_private_box()->setChecked(true);
  dialog->update_check_box()->setChecked(true);
  dialog->update_url_edit()->setText(" https://example.org/quorvane.txt ");
  dialog->accept();

  const settings::Settings stored = LoadSettings().settings;
  EXPECT_EQ(stored.myphotoalbums_path, library.string());
  EXPECT_TRUE(std::filesystem::is_directory(library));  // made when missing
  const album::ThumbnailOptions thumbnails = settings::ThumbnailOptionsFrom(stored);
  EXPECT_EQ(thumbnails.jpeg_quality, 70);
  EXPECT_EQ(thumbnails.mode, image::ResampleMode::kLanczos3);
  EXPECT_EQ(settings::EditResampleModeFrom(stored), image::ResampleMode::kNearest);
  const FileBrowserOptions browser = FileBrowserOptionsFrom(stored);
  EXPECT_EQ(browser.cell, QSize(150, 90));
  EXPECT_FALSE(browser.use_exif_preview);
  EXPECT_TRUE(stored.web_publish_stripprivate);
  EXPECT_TRUE(help::UpdateCheckEnabled(stored));
  EXPECT_EQ(help::UpdateCheckUrl(stored), "https://example.org/quorvane.txt");
  EXPECT_EQ(stored.thumbnail_cache_path, user_.settings.thumbnail_cache_path);
}

TEST_F(FrameFeeds, APastedPictureBecomesClipJpgAndUndoTakesItBack) {
  Open(MakeAlbum(dir_ / "library", "Pasted", 1));
  QImage picture(80, 60, QImage::Format_RGB32);
  picture.fill(QColor(20, 160, 90));
  QGuiApplication::clipboard()->setImage(picture);
  frame_->RunCommand(kCmdPaste);
  EXPECT_EQ(frame_->job_runner()->progress_window()->text(), "Pasting Photo into Album...");
  ASSERT_EVENTUALLY_EQ(PhotoCount(), 2u);
  const album::AlbumPhoto& pasted = frame_->current_document()->album().photos()[1];
  EXPECT_EQ(pasted.image_file, "clip.jpg");
  EXPECT_EQ(pasted.format, "JPEG");
  EXPECT_EQ(pasted.width, 80);
  EXPECT_EQ(pasted.height, 60);
  ASSERT_EVENTUALLY_EQ(frame_->action(kCmdUndo)->text(), QString("&Undo Add Photo"));
  frame_->RunCommand(kCmdUndo);
  ASSERT_EVENTUALLY_EQ(PhotoCount(), 1u);
}

TEST_F(FrameFeeds, FilesActivatedInTheBrowserAreAddedToTheCurrentAlbum) {
  const std::filesystem::path folder = MakeAlbum(dir_ / "library", "Source", 2);
  const QStringList files = {QString::fromStdString((folder / "photo1.jpg").string()),
                             QString::fromStdString((folder / "photo2.jpg").string())};
  // No album open: a word in the status bar, nothing else.
  emit frame_->file_browser()->FilesActivated(files);
  EXPECT_FALSE(frame_->statusBar()->currentMessage().isEmpty());
  EXPECT_FALSE(frame_->job_runner()->busy());

  Open(MakeAlbum(dir_ / "library", "Target", 0));
  emit frame_->file_browser()->FilesActivated(files);
  ASSERT_EVENTUALLY_EQ(PhotoCount(), 2u);
  ASSERT_EVENTUALLY_EQ(frame_->action(kCmdUndo)->text(), QString("&Undo Add Photo"));
}

TEST_F(FrameFeeds, TheLeftPaneListsTheLibraryAndMarksOpenAlbums) {
  const std::filesystem::path library = user_.settings.myphotoalbums_path;
  MakeAlbum(library, "Zebra", 1);
  const std::filesystem::path apple = MakeAlbum(library, "Apple", 3);
  LibraryPane* pane = frame_->library_pane();
  QSignalSpy loaded(pane, &LibraryPane::Loaded);
  pane->Reload(user_.settings.myphotoalbums_path, 0);
  ASSERT_EVENTUALLY(loaded.count() >= 1);
  QListWidget* list = pane->list();
  ASSERT_EQ(list->count(), 2);
  EXPECT_TRUE(list->item(0)->text().startsWith("Apple"));
  EXPECT_FALSE(list->item(0)->font().bold());

  // Activating a closed album opens it; it is then marked and current.
  emit list->itemActivated(list->item(0));
  ASSERT_EVENTUALLY(frame_->current_document() != nullptr);
  EXPECT_EQ(frame_->current_document()->location(), apple.string());
  EXPECT_TRUE(list->item(0)->font().bold());
  EXPECT_EQ(list->currentRow(), 0);

  // The order of the album list, kept in the settings: fewest photos first.
  pane->sort_box()->setCurrentIndex(3);
  EXPECT_TRUE(list->item(0)->text().startsWith("Zebra"));
  EXPECT_EQ(user_.settings.app_openalbumsorttype, 3);
}

TEST_F(FrameFeeds, DeleteInTheLeftPaneDeletesTheAlbumAndClosesIt) {
  const std::filesystem::path library = user_.settings.myphotoalbums_path;
  const std::filesystem::path doomed = MakeAlbum(library, "Doomed", 1);
  MakeAlbum(library, "Kept", 1);
  Open(doomed);
  LibraryPane* pane = frame_->library_pane();
  QSignalSpy loaded(pane, &LibraryPane::Loaded);
  pane->Reload(library.string(), 0);
  ASSERT_EVENTUALLY(loaded.count() >= 1);
  // The question is answered here; the open album is closed as the frame closes albums.
  std::string asked;
  pane->set_delete_hooks([&] {
    album::DeleteAlbumHooks hooks;
    hooks.confirm = [&](const std::string& question) {
      asked = question;
      return true;
    };
    hooks.open_album_paths = {doomed.string()};
    hooks.close_album = [&](const std::string&) { frame_->RunCommand(kCmdCloseAlbum); };
    return hooks;
  });
  pane->list()->setCurrentRow(0);
  pane->list()->setFocus();
  loaded.clear();
  QTest::keyClick(pane->list(), Qt::Key_Delete);
  EXPECT_EQ(asked, "Are you sure you want to delete the photo album \"Doomed\"?");
  EXPECT_FALSE(std::filesystem::exists(doomed));
  EXPECT_EQ(frame_->document_count(), 0);
  ASSERT_EVENTUALLY(loaded.count() >= 1);
  ASSERT_EQ(pane->list()->count(), 1);
  EXPECT_TRUE(pane->list()->item(0)->text().startsWith("Kept"));
}

// SANE's "test" backend stands in for a scanner: a real device as far as the program can tell.
TEST_F(FrameFeeds, AScannedPageIsAddedAsScanJpg) {
  if (!ScanningAvailable()) GTEST_SKIP() << "built without SANE";
  const std::filesystem::path config = dir_ / "sane";
  std::filesystem::create_directories(config);
  std::ofstream(config / "dll.conf") << "test\n";
  ::setenv("SANE_CONFIG_DIR", config.c_str(), 1);
  std::vector<ScanSource> sources;
  std::string error;
  ASSERT_TRUE(ListScanSources(&sources, &error)) << error;
  ASSERT_FALSE(sources.empty());
  EXPECT_EQ(sources[0].name, "test:0");

  Open(MakeAlbum(dir_ / "library", "Scanned", 0));
  ASSERT_TRUE(frame_->action(kCmdScan)->isEnabled());
  frame_->RunCommand(kCmdScan);
  EXPECT_EQ(frame_->job_runner()->progress_window()->text(), "Adding Scanned Photo to Album...");
  ASSERT_EVENTUALLY_EQ_WITHIN(PhotoCount(), 1u, 30000);
  const album::AlbumPhoto& scanned = frame_->current_document()->album().photos()[0];
  EXPECT_EQ(scanned.image_file, "scan.jpg");
  // The backend's page is 80 x 100 mm; at the 200 dpi asked for that is about 630 x 787.
  EXPECT_NEAR(scanned.width, 630, 2);
  EXPECT_NEAR(scanned.height, 787, 2);
}

}  // namespace
}  // namespace quorvane::app
