// The library's dialogs driven through the frame's commands: listing in the sort orders,
// deleting with the question, opening the chosen album, creating one from a typed name.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include "app/album_list_dialog.h"
#include "app/command_table.h"
#include "app/main_frame.h"
#include "app/tests/app_test_support.h"

namespace quorvane::app {
namespace {

class LibraryDialogs : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    user_ = LoadSettings();
    library_ = user_.settings.myphotoalbums_path;
  }
  QStringList Rows(AlbumListDialog* dialog) {
    QStringList rows;
    for (int i = 0; i < dialog->list()->count(); ++i)
      rows.push_back(dialog->list()->item(i)->text());
    return rows;
  }

  settings::UserSettings user_;
  std::filesystem::path library_;
};

TEST_F(LibraryDialogs, TheAlbumListSortsDeletesWithTheQuestionAndOpensTheChoice) {
  const auto beta = MakeAlbum(library_, "Beta", 3);
  MakeAlbum(library_, "alpha", 1);
  MakeAlbum(library_, "Gamma", 2);
  MainFrame frame(&user_);
  frame.show();
  QSignalSpy opened(&frame, &MainFrame::AlbumOpened);
  frame.OpenAlbum(QString::fromStdString(beta.string()));
  ASSERT_EVENTUALLY_EQ(opened.count(), 1);

  frame.RunCommand(kCmdOpenAlbum);
  auto* dialog = frame.findChild<AlbumListDialog*>();
  ASSERT_NE(dialog, nullptr);
  ASSERT_EVENTUALLY(dialog->loaded());
  EXPECT_EQ(Rows(dialog), (QStringList{"alpha (1 photos)", "Beta (3 photos)", "Gamma (2 photos)"}));
  dialog->sort_box()->setCurrentIndex(album::kSortByPhotoCount);
  EXPECT_EQ(Rows(dialog), (QStringList{"alpha (1 photos)", "Gamma (2 photos)", "Beta (3 photos)"}));

  // Deleting the open album closes it first; the new last row is selected.
  QStringList asked;
  bool answer = false;
  dialog->set_confirm([&](const QString& question) {
    asked.push_back(question);
    return answer;
  });
  dialog->list()->setCurrentRow(2);
  QTest::mouseClick(dialog->delete_button(), Qt::LeftButton);
  EXPECT_EQ(dialog->list()->count(), 3);
  answer = true;
  QTest::mouseClick(dialog->delete_button(), Qt::LeftButton);
  EXPECT_EQ(asked.value(0), "Are you sure you want to delete the photo album \"Beta\"?");
  EXPECT_EQ(Rows(dialog), (QStringList{"alpha (1 photos)", "Gamma (2 photos)"}));
  EXPECT_EQ(dialog->list()->currentRow(), 1);
  EXPECT_FALSE(std::filesystem::exists(beta));
  EXPECT_EQ(frame.document_count(), 0);

  dialog->list()->setCurrentRow(0);
  QTest::mouseClick(dialog->ok_button(), Qt::LeftButton);
  ASSERT_EVENTUALLY_EQ(frame.windowTitle(), QString("Quorvane - alpha"));
  EXPECT_EQ(user_.settings.app_openalbumsorttype, album::kSortByPhotoCount);
}

TEST_F(LibraryDialogs, ANewAlbumTakesTheTypedNameAndASafeFolderName) {
  MainFrame frame(&user_);
  frame.show();
  frame.RunCommand(kCmdNewAlbum);
  auto* dialog = frame.findChild<NewAlbumDialog*>();
  ASSERT_NE(dialog, nullptr);
  QTest::keyClicks(dialog->name_edit(), "Trip: 5/6");
  dialog->accept();
  ASSERT_EVENTUALLY_EQ(frame.windowTitle(), QString("Quorvane - Trip: 5/6"));
  EXPECT_TRUE(std::filesystem::exists(library_ / "Trip_ 5_6" / "index.quorvane"));
  EXPECT_EQ(frame.recent_albums().front(), (library_ / "Trip_ 5_6").string());
}

}  // namespace
}  // namespace quorvane::app
