// The photo window opened from the album view: zoom levels, previous/next with the header's
// placeholders, an edit with the window's own Undo/Redo texts, and crop to the selection.
#include "app/photo_viewer.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QSignalSpy>
#include <QTest>

#include "app/album_document.h"
#include "app/album_model.h"
#include "app/album_view.h"
#include "app/command_table.h"
#include "app/job_runner.h"
#include "app/main_frame.h"
#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

class PhotoWindow : public FrameTest {
 protected:
  void SetUp() override {
    FrameTest::SetUp();
    Open(MakeAlbum(dir_ / "library", "Views", 2));
    // Enter on the first cell opens it, as a double-click does.
    AlbumView* view = frame_->album_view();
    view->setFocus();
    view->setCurrentIndex(frame_->album_model()->index(0));
    QTest::keyClick(view, Qt::Key_Return);
    viewer_ = frame_->photo_viewer();
    ASSERT_NE(viewer_, nullptr);
    ASSERT_EVENTUALLY(!viewer_->current_image().isNull());
    ASSERT_EVENTUALLY(!viewer_->job_runner()->busy());
  }

  void Run(int id) {
    viewer_->RunCommand(id);
    ASSERT_EVENTUALLY(!viewer_->job_runner()->busy());
  }

  PhotoViewer* viewer_ = nullptr;
};

TEST_F(PhotoWindow, ZoomAndPreviousNextFillTheHeader) {
  EXPECT_TRUE(viewer_->header().contains("Photo 1 of 2"));
  EXPECT_TRUE(viewer_->header().contains("File&nbsp;name:&nbsp;photo1.jpg"));
  EXPECT_TRUE(viewer_->header().contains("Actual&nbsp;size:&nbsp;64x48"));
  Run(kCmdZoom50);
  EXPECT_EQ(viewer_->canvas()->display_size(), QSize(32, 24));
  Run(kCmdZoom300);
  EXPECT_EQ(viewer_->canvas()->display_size(), QSize(192, 144));
  EXPECT_TRUE(viewer_->header().contains("Display&nbsp;size:&nbsp;192x144"));
  EXPECT_FALSE(viewer_->action(kCmdPreviousPhoto)->isEnabled());
  Run(kCmdNextPhoto);
  EXPECT_TRUE(viewer_->header().contains("Photo 2 of 2"));
  EXPECT_TRUE(viewer_->header().contains("photo2.jpg"));
  EXPECT_FALSE(viewer_->action(kCmdNextPhoto)->isEnabled());
  // The zoom stays when the photo changes.
  EXPECT_EQ(viewer_->canvas()->display_size(), QSize(192, 144));
}

TEST_F(PhotoWindow, EditsHaveTheirOwnHistoryAndCropKeepsTheSelection) {
  const QImage original = viewer_->current_image();
  Run(32780);  // Flip Horizontal
  EXPECT_EQ(viewer_->action(kCmdUndo)->text(), "&Undo Flip Horizonal");
  EXPECT_NE(viewer_->current_image(), original);
  // The album's history knows nothing of it.
  EXPECT_EQ(frame_->action(kCmdUndo)->text(), "&Undo");
  Run(kCmdUndo);
  EXPECT_EQ(viewer_->current_image(), original);
  EXPECT_EQ(viewer_->action(kCmdRedo)->text(), "&Redo Flip Horizonal");

  Run(kCmdZoom100);
  PhotoCanvas* canvas = viewer_->canvas();
  QTest::mousePress(canvas, Qt::LeftButton, {}, QPoint(10, 5));
  QTest::mouseMove(canvas, QPoint(30, 25));
  QTest::mouseRelease(canvas, Qt::LeftButton, {}, QPoint(30, 25));
  ASSERT_FALSE(canvas->selection().empty());
  Run(kCmdCrop);
  EXPECT_EQ(viewer_->current_image().size(), QSize(20, 20));
  EXPECT_EQ(viewer_->action(kCmdUndo)->text(), "&Undo Crop");
  // The new step dropped the redo branch.
  EXPECT_EQ(viewer_->action(kCmdRedo)->text(), "&Redo");
  EXPECT_FALSE(viewer_->action(kCmdRedo)->isEnabled());
}

TEST_F(PhotoWindow, SavedEditsGoIntoTheAlbumAsOneUndoableStep) {
  album::Album& album = frame_->current_document()->album();
  EXPECT_FALSE(viewer_->action(kCmdSave)->isEnabled());
  Run(32799);  // 90 degrees clockwise
  ASSERT_TRUE(viewer_->has_unsaved_edits());
  EXPECT_EQ(album.photos()[0].width, 64);  // the album does not have it yet

  Run(kCmdSave);
  ASSERT_EVENTUALLY(!viewer_->has_unsaved_edits());
  ASSERT_EVENTUALLY_EQ(frame_->action(kCmdUndo)->text(), QString("&Undo Edit Photo"));
  EXPECT_EQ(album.photos()[0].width, 48);
  EXPECT_EQ(album.photos()[0].height, 64);
  EXPECT_TRUE(album.modified());
  EXPECT_EQ(frame_->windowTitle(), "Quorvane - Views *");

  frame_->RunCommand(kCmdUndo);
  ASSERT_EVENTUALLY_EQ(album.photos()[0].width, 64);
  image::Image on_disk;
  ASSERT_TRUE(on_disk.Load(album.store().LocalPath(album.photos()[0].image_file)));
  EXPECT_EQ(on_disk.width(), 64);
  EXPECT_EQ(frame_->action(kCmdRedo)->text(), "&Redo Edit Photo");

  // Undoing in the window makes it differ from the album again; leaving the photo puts the
  // window's version back without a question.
  Run(kCmdUndo);
  ASSERT_TRUE(viewer_->has_unsaved_edits());
  frame_->RunCommand(kCmdRedo);
  ASSERT_EVENTUALLY_EQ(album.photos()[0].width, 48);
  Run(kCmdNextPhoto);
  ASSERT_EVENTUALLY(viewer_->header().contains("Photo 2 of 2"));
  EXPECT_EQ(album.photos()[0].width, 64);
  EXPECT_EQ(frame_->action(kCmdUndo)->text(), "&Undo Edit Photo");

  // Closing the window does the same.
  Run(32799);
  viewer_->close();
  ASSERT_EVENTUALLY_EQ(album.photos()[1].width, 48);
  ASSERT_EVENTUALLY(frame_->photo_viewer() == nullptr);
}

}  // namespace
}  // namespace quorvane::app
