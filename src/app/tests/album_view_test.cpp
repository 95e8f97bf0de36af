// The album view driven as a person would: drops from outside and from the view itself, keys,
// the clipboard, edits on the selection, and the menus' Undo/Redo texts after each.
#include "app/album_view.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "app/album_document.h"
#include "app/album_model.h"
#include "app/command_table.h"
#include "app/job_runner.h"
#include "app/main_frame.h"
#include "app/tests/app_test_support.h"
#include "image/image.h"

namespace quorvane::app {
namespace {

class AlbumViewTest : public FrameTest {
 protected:
  AlbumView* view() { return frame_->album_view(); }
  AlbumModel* model() { return frame_->album_model(); }
  QString Text(int id) { return frame_->action(id)->text(); }
  void WaitIdle() { ASSERT_EVENTUALLY(!frame_->job_runner()->busy()); }

  // Drags `data` onto the view at `where` (viewport coordinates) and lets go.
  void Drop(QMimeData* data, QPoint where, Qt::DropAction action) {
    QWidget* target = view()->viewport();
    QDragEnterEvent enter(where, action, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDragMoveEvent move(where, action, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent drop(QPointF(where), action, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    delete data;
  }
  QPoint CellCentre(int row) { return view()->visualRect(model()->index(row)).center(); }

  std::vector<std::string> FilesOnDisk(const std::filesystem::path& folder) {
    album::Album reread(std::make_unique<album::FolderStore>(folder));
    EXPECT_TRUE(album::AlbumIndex::LoadIndex(reread));
    std::vector<std::string> files;
    for (const auto& photo : reread.photos()) files.push_back(photo.image_file);
    return files;
  }
  std::vector<QString> Rows() {
    std::vector<QString> files;
    for (int i = 0; i < model()->rowCount(); ++i) {
      files.push_back(model()->index(i).data(AlbumModel::kFileRole).toString());
    }
    return files;
  }
};

TEST_F(AlbumViewTest, FilesDroppedFromOutsideAreAddedAndUndoTakesThemBack) {
  Open(MakeAlbum(dir_ / "library", "Drops", 1));
  ASSERT_EQ(model()->rowCount(), 1);
  auto* data = new QMimeData;
  QList<QUrl> urls;
  for (const char* name : {"beach.jpg", "dunes.png"}) {
    image::Image picture;
    ASSERT_TRUE(picture.Create(80, 60, false, {200, 120, 40, 255}));
    const auto path = dir_ / name;
    ASSERT_TRUE(picture.Save(path, std::string(name).ends_with("png") ? image::ImageFormat::kPng
                                                                      : image::ImageFormat::kJpeg));
    urls.push_back(QUrl::fromLocalFile(QString::fromStdString(path.string())));
  }
  data->setUrls(urls);
  Drop(data, view()->viewport()->rect().bottomRight() - QPoint(5, 5), Qt::CopyAction);
  ASSERT_EVENTUALLY_EQ(model()->rowCount(), 3);
  WaitIdle();
  EXPECT_EQ(Rows()[1], "beach.jpg");
  EXPECT_EQ(Rows()[2], "dunes.png");
  EXPECT_EQ(Text(kCmdUndo), "&Undo Add Photo");
  EXPECT_EQ(frame_->windowTitle(), "Quorvane - Drops *");

  frame_->RunCommand(kCmdUndo);
  ASSERT_EVENTUALLY_EQ(model()->rowCount(), 1);
  EXPECT_EQ(Text(kCmdRedo), "&Redo Add Photo");
  frame_->RunCommand(kCmdRedo);
  ASSERT_EVENTUALLY_EQ(model()->rowCount(), 3);
  // The thumbnails arrive from the worker, fitted into the album's cell.
  ASSERT_EVENTUALLY(!model()->index(2).data(Qt::DecorationRole).value<QPixmap>().isNull());
  const QPixmap thumbnail = model()->index(2).data(Qt::DecorationRole).value<QPixmap>();
  EXPECT_LE(thumbnail.width(), model()->cell_size().width() - 2);
  EXPECT_LE(thumbnail.height(), model()->cell_size().height() - 2);
}

TEST_F(AlbumViewTest, DraggingPhotosWithinTheViewReordersThem) {
  const auto folder = MakeAlbum(dir_ / "library", "Order", 3);
  Open(folder);
  const std::vector<QString> before = Rows();
  Drop(model()->MimeDataFor({0}), CellCentre(2), Qt::MoveAction);
  ASSERT_EVENTUALLY_EQ(Rows(), (std::vector<QString>{before[1], before[0], before[2]}));
  EXPECT_EQ(Text(kCmdUndo), "&Undo Move Photo");
  frame_->RunCommand(kCmdSave);
  WaitIdle();
  EXPECT_EQ(FilesOnDisk(folder),
            (std::vector<std::string>{before[1].toStdString(), before[0].toStdString(),
                                      before[2].toStdString()}));
  EXPECT_EQ(frame_->windowTitle(), "Quorvane - Order");
}

TEST_F(AlbumViewTest, DeleteRemovesTheSelectionAndCopyPasteCarriesPhotosToAnotherAlbum) {
  const auto source = MakeAlbum(dir_ / "library", "Source", 3);
  const auto target = MakeAlbum(dir_ / "library", "Target", 1);
  Open(target);
  Open(source);
  const std::vector<QString> photos = Rows();
  view()->setFocus();
  view()->selectionModel()->select(model()->index(1), QItemSelectionModel::ClearAndSelect);
  ASSERT_TRUE(frame_->action(kCmdCopy)->isEnabled());
  QTest::keyClick(view(), Qt::Key_C, Qt::ControlModifier);
  const QMimeData* clip = QGuiApplication::clipboard()->mimeData();
  ASSERT_TRUE(clip->hasFormat(kImageRefFormat));
  ImageRef ref;
  ASSERT_TRUE(DecodeImageRef(clip->data(kImageRefFormat), &ref));
  EXPECT_EQ(ref.positions, std::vector<size_t>{1});

  QTest::keyClick(view(), Qt::Key_Delete);
  ASSERT_EVENTUALLY_EQ(model()->rowCount(), 2);
  EXPECT_EQ(Text(kCmdUndo), "&Undo Remove Photo");
  EXPECT_EQ(Rows(), (std::vector<QString>{photos[0], photos[2]}));

  // Paste into the other album: the copied photo's file comes along.
  Open(target);
  ASSERT_EQ(frame_->windowTitle(), "Quorvane - Target");
  frame_->RunCommand(kCmdPaste);
  ASSERT_EVENTUALLY_EQ(model()->rowCount(), 2);
  EXPECT_EQ(Rows()[1], photos[1]);
  EXPECT_EQ(Text(kCmdUndo), "&Undo Add Photo");
}

TEST_F(AlbumViewTest, AnEditRunsOnTheSelectionAndUndoPutsThePhotoBack) {
  const auto folder = MakeAlbum(dir_ / "library", "Edits", 2);
  Open(folder);
  const std::string file = Rows()[0].toStdString();
  const std::string original = testing::ReadTextFile(folder / file);
  const std::string untouched = testing::ReadTextFile(folder / Rows()[1].toStdString());
  EXPECT_FALSE(frame_->action(32780)->isEnabled());  // nothing selected
  view()->selectionModel()->select(model()->index(0), QItemSelectionModel::ClearAndSelect);
  ASSERT_TRUE(frame_->action(32780)->isEnabled());
  // Flip Horizontal from the view's context menu, in one of its edit submenus.
  bool offered = false;
  QTimer::singleShot(0, [&] {
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    for (QAction* entry : menu->actions()) {
      if (entry->menu() && entry->menu()->actions().contains(frame_->action(32780))) offered = true;
    }
    EXPECT_TRUE(menu->actions().contains(frame_->action(kCmdShowLarger)));
    menu->close();
    if (offered) frame_->action(32780)->trigger();
  });
  emit view()->customContextMenuRequested(QPoint(5, 5));
  ASSERT_TRUE(offered);
  WaitIdle();
  ASSERT_EVENTUALLY_EQ(Text(kCmdUndo), QString("&Undo Flip Photo"));
  EXPECT_NE(testing::ReadTextFile(folder / file), original);
  EXPECT_EQ(testing::ReadTextFile(folder / Rows()[1].toStdString()), untouched);
  frame_->RunCommand(kCmdUndo);
  ASSERT_EVENTUALLY_EQ(Text(kCmdRedo), QString("&Redo Flip Photo"));
  EXPECT_EQ(testing::ReadTextFile(folder / file), original);
}

TEST_F(AlbumViewTest, ClosingAskedAboutUnsavedChangesAndAMissingThumbnailShowsNoImage) {
  const auto folder = MakeAlbum(dir_ / "library", "Close Me", 3);
  std::filesystem::remove(folder / album::ThumbnailName(FilesOnDisk(folder)[2]));
  Open(folder);
  ASSERT_EVENTUALLY(model()->index(2).data(AlbumModel::kMissingRole).toBool());
  EXPECT_FALSE(model()->index(0).data(AlbumModel::kMissingRole).toBool());
  const std::vector<QString> before = Rows();

  Drop(model()->MimeDataFor({2}), CellCentre(0), Qt::MoveAction);
  ASSERT_EVENTUALLY_EQ(frame_->windowTitle(), QString("Quorvane - Close Me *"));
  std::vector<QString> asked;
  int answer = QMessageBox::Cancel;
  frame_->set_save_question([&](const QString& question) {
    asked.push_back(question);
    return answer;
  });
  frame_->RunCommand(kCmdCloseAlbum);
  EXPECT_EQ(asked, std::vector<QString>{"Save changes to \"Close Me\"?"});
  EXPECT_EQ(frame_->document_count(), 1);

  answer = QMessageBox::Yes;
  frame_->RunCommand(kCmdCloseAlbum);
  EXPECT_EQ(frame_->document_count(), 0);
  EXPECT_EQ(frame_->windowTitle(), "Quorvane");
  EXPECT_EQ(FilesOnDisk(folder)[0], before[2].toStdString());
}

}  // namespace
}  // namespace quorvane::app
