// The album history stack: undo and redo walk the records in order, a push discards the redo
// branch, and the menus and error texts read as the user sees them.
#include "album/album_history.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/folder_store.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

// Appends its name to a log on each call, so the order of calls can be checked.
class LoggingRecord : public HistoryRecord {
 public:
  LoggingRecord(std::string name, std::vector<std::string>* log) : name_(name), log_(log) {}
  bool Undo(Album&) override {
    log_->push_back("undo " + name_);
    return true;
  }
  bool Redo(Album&) override {
    log_->push_back("redo " + name_);
    return true;
  }
  std::string Label() const override { return name_; }
  bool HasChanges() const override { return true; }

 private:
  std::string name_;
  std::vector<std::string>* log_;
};

class AlbumHistoryTest : public ::testing::Test {
 protected:
  RefPtr<HistoryRecord> Record(std::string name) {
    return MakeRef<LoggingRecord>(std::move(name), &log_);
  }

  testing::TempDir temp_;
  Album album_{std::make_unique<FolderStore>(temp_.path())};
  std::vector<std::string> log_;
};

TEST_F(AlbumHistoryTest, UndoRedoWalkTheRecords) {
  AlbumHistory history;
  int changes = 0;
  history.set_on_changed([&] { ++changes; });
  EXPECT_FALSE(history.Undo(album_));
  EXPECT_FALSE(history.Redo(album_));
  history.Push(Record("Add Photo"));
  history.Push(Record("Move Photo"));
  EXPECT_EQ(history.UndoMenu(), (HistoryMenuItem{"&Undo Move Photo\tCtrl+Z", true}));
  EXPECT_EQ(history.RedoMenu(), (HistoryMenuItem{"&Redo\tCtrl+Shift+Z", false}));
  ASSERT_TRUE(history.Undo(album_));
  ASSERT_TRUE(history.Undo(album_));
  EXPECT_FALSE(history.Undo(album_));
  ASSERT_TRUE(history.Redo(album_));
  EXPECT_EQ(log_,
            (std::vector<std::string>{"undo Move Photo", "undo Add Photo", "redo Add Photo"}));
  EXPECT_EQ(history.RedoMenu(), (HistoryMenuItem{"&Redo Move Photo\tCtrl+Shift+Z", true}));
  EXPECT_EQ(changes, 5);

  // A new step drops "Move Photo" from the redo branch.
  history.Push(Record("Remove Photo"));
  EXPECT_EQ(history.count(), 2);
  EXPECT_EQ(history.index(), 1);
  EXPECT_FALSE(history.Redo(album_));
  EXPECT_EQ(history.UndoLabel(), "Remove Photo");
}

TEST_F(AlbumHistoryTest, RecordsLiveWhileReferenced) {
  AlbumHistory history;
  RefPtr<HistoryRecord> kept = Record("Add Photo");
  EXPECT_EQ(kept->ref_count(), 1);
  history.Push(kept);
  EXPECT_EQ(kept->ref_count(), 2);
  ASSERT_TRUE(history.Undo(album_));
  history.Push(Record("Move Photo"));  // discards the kept record from the history
  EXPECT_EQ(kept->ref_count(), 1);
  EXPECT_EQ(kept->Label(), "Add Photo");
}

TEST(ErrorCodeTextTest, KnownCodesHaveMessagesOthersTheirNumber) {
  EXPECT_EQ(ErrorCodeText(0x80004005), "Unspecified error");
  EXPECT_EQ(ErrorCodeText(0x80004001), "Not implemented");
  EXPECT_EQ(ErrorCodeText(0x8007ABCD), "Error 0x8007abcd");
}

}  // namespace
}  // namespace quorvane::album
