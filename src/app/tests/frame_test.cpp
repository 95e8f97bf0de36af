#include <set>

#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QSignalSpy>
#include <QSplitter>
#include <QTest>
#include <QToolBar>

#include "album/album_history_records.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "app/album_document.h"
#include "app/command_table.h"
#include "app/frame_title.h"
#include "app/job_runner.h"
#include "app/main_frame.h"
#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

TEST(FrameTitle, UnsavedChangesOutrankReadOnly) {
  EXPECT_EQ(FrameTitle({}), "Quorvane");
  EXPECT_EQ(FrameTitle({true, "Trip", false, false}), "Quorvane - Trip");
  EXPECT_EQ(FrameTitle({true, "Trip", true, false}), "Quorvane - Trip *");
  EXPECT_EQ(FrameTitle({true, "Trip", false, true}), "Quorvane - Trip [Read Only]");
  EXPECT_EQ(FrameTitle({true, "Trip", true, true}), "Quorvane - Trip *");
}

class Frame : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    user_ = LoadSettings();
  }

  // Opens `folder` in `frame` and waits for it.
  static void Open(MainFrame& frame, const std::filesystem::path& folder) {
    QSignalSpy opened(&frame, &MainFrame::AlbumOpened);
    frame.OpenAlbum(QString::fromStdString(folder.string()));
    ASSERT_EVENTUALLY_EQ(opened.count(), 1);
  }

  std::vector<std::string> PhotoFiles(const std::filesystem::path& folder) {
    album::Album reread(std::make_unique<album::FolderStore>(folder));
    EXPECT_TRUE(album::AlbumIndex::LoadIndex(reread));
    std::vector<std::string> files;
    for (const auto& photo : reread.photos()) files.push_back(photo.image_file);
    return files;
  }

  settings::UserSettings user_;
};

TEST_F(Frame, MenusAndShortcutsComeFromTheCommandTable) {
  MainFrame frame(&user_);
  std::vector<QString> titles;
  for (QAction* menu : frame.menuBar()->actions()) titles.push_back(menu->text());
  ASSERT_EQ(titles.size(), TopMenus().size());
  for (size_t i = 0; i < titles.size(); ++i) {
    EXPECT_EQ(titles[i].toStdString(), TopMenus()[i]);
  }
  for (const Command& command : Commands()) {
    if (command.id <= 0 || command.id == kCmdRecentFirst || command.menu.starts_with(kViewerMenu))
      continue;
    QAction* action = frame.action(command.id);
    ASSERT_NE(action, nullptr) << command.text;
    if (command.id != kCmdUndo && command.id != kCmdRedo) {
      EXPECT_EQ(action->text().toStdString(), CommandLabel(command.text));
    }
    EXPECT_EQ(action->shortcut(),
              QKeySequence(QString::fromUtf8(CommandShortcut(command.text).data(),
                                             CommandShortcut(command.text).size())));
  }
  // The Photo menu holds the edit submenus, with the album's edits in them.
  QMenu* photo = frame.top_menu("&Photo");
  ASSERT_NE(photo, nullptr);
  std::set<QString> submenus;
  for (QAction* entry : photo->actions()) {
    if (entry->menu()) submenus.insert(entry->text());
  }
  EXPECT_EQ(submenus,
            (std::set<QString>{"&Filters", "&Rotate", "Re&size", "S&canner", "Scr&eenshots"}));
  EXPECT_EQ(frame.windowTitle(), "Quorvane");
  EXPECT_FALSE(frame.action(kCmdUndo)->isEnabled());
  EXPECT_EQ(frame.action(kCmdUndo)->text(), "&Undo");
}

TEST_F(Frame, TitleAndUndoRedoFollowTheCurrentAlbum) {
  const std::filesystem::path folder = MakeAlbum(dir_ / "library", "Trip", 3);
  const std::vector<std::string> before = PhotoFiles(folder);
  MainFrame frame(&user_);
  frame.show();
  Open(frame, folder);
  EXPECT_EQ(frame.windowTitle(), "Quorvane - Trip");
  EXPECT_FALSE(frame.action(kCmdSave)->isEnabled());

  // The album view moves photos this way: the core's move, recorded in the album's history.
  AlbumDocument* document = frame.current_document();
  ASSERT_NE(document, nullptr);
  const size_t first[] = {0};
  document->history().Push(album::MovePhotos(document->album(), first, 3));
  ASSERT_EVENTUALLY_EQ(frame.windowTitle(), QString("Quorvane - Trip *"));
  EXPECT_EQ(frame.action(kCmdUndo)->text(), "&Undo Move Photo");
  EXPECT_TRUE(frame.action(kCmdUndo)->isEnabled());
  EXPECT_EQ(frame.action(kCmdRedo)->text(), "&Redo");
  EXPECT_FALSE(frame.action(kCmdRedo)->isEnabled());

  frame.action(kCmdUndo)->trigger();
  ASSERT_EVENTUALLY_EQ(frame.action(kCmdUndo)->text(), QString("&Undo"));
  EXPECT_EQ(frame.action(kCmdRedo)->text(), "&Redo Move Photo");
  frame.action(kCmdRedo)->trigger();
  ASSERT_EVENTUALLY_EQ(frame.action(kCmdRedo)->text(), QString("&Redo"));

  // Saving runs on the worker; the title loses its mark when it is done.
  ASSERT_TRUE(frame.action(kCmdSave)->isEnabled());
  QTest::keyClick(&frame, Qt::Key_S, Qt::ControlModifier);
  ASSERT_EVENTUALLY_EQ(frame.windowTitle(), QString("Quorvane - Trip"));
  EXPECT_FALSE(frame.job_runner()->busy());
  EXPECT_EQ(PhotoFiles(folder), (std::vector<std::string>{before[1], before[2], before[0]}));
}

TEST_F(Frame, AnAlbumOpensOnceAndAFailureIsToldInAMessageBox) {
  const std::filesystem::path folder = MakeAlbum(dir_ / "library", "Once", 1);
  MainFrame frame(&user_);
  frame.show();
  Open(frame, folder);
  Open(frame, folder);
  EXPECT_EQ(frame.document_count(), 1);

  QSignalSpy failed(&frame, &MainFrame::AlbumOpenFailed);
  frame.OpenAlbum(QString::fromStdString((dir_ / "no such album").string()));
  ASSERT_EVENTUALLY_EQ(failed.count(), 1);
  QMessageBox* box = frame.findChild<QMessageBox*>();
  ASSERT_NE(box, nullptr);
  EXPECT_EQ(box->windowTitle(), "Quorvane");
  EXPECT_EQ(box->text(), failed[0][1].toString());
  EXPECT_FALSE(box->text().isEmpty());
  EXPECT_EQ(frame.document_count(), 1);
  EXPECT_EQ(frame.windowTitle(), "Quorvane - Once");
}

TEST_F(Frame, LayoutAndRecentAlbumsSurviveARestart) {
  const std::filesystem::path folder = MakeAlbum(dir_ / "library", "Kept", 1);
  const QRect placed(40, 30, 700, 500);
  {
    MainFrame frame(&user_);
    frame.show();
    frame.setGeometry(placed);
    Open(frame, folder);
    frame.findChild<QSplitter*>()->setSizes({150, 550});
    frame.findChild<QToolBar*>()->hide();
    frame.close();
  }
  settings::UserSettings reloaded = LoadSettings();
  MainFrame frame(&reloaded);
  frame.ShowWithStoredPlacement();
  EXPECT_EQ(frame.geometry(), placed);
  EXPECT_EQ(frame.findChild<QSplitter*>()->sizes().value(0), 150);
  EXPECT_FALSE(frame.findChild<QToolBar*>()->isVisible());
  ASSERT_EQ(frame.recent_albums().size(), 1u);
  EXPECT_EQ(frame.recent_albums()[0], folder.string());

  // The recent entry opens the album again.
  QSignalSpy opened(&frame, &MainFrame::AlbumOpened);
  frame.RunCommand(kCmdRecentFirst);
  ASSERT_EVENTUALLY_EQ(opened.count(), 1);
  EXPECT_EQ(frame.windowTitle(), "Quorvane - Kept");
}

}  // namespace
}  // namespace quorvane::app
