// The album history stack: undo and redo walk the records in order, a push discards the redo
// branch, and the menus and error texts read as the user sees them.
#include "album/album_history.h"

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/album_history_records.h"
#include "album/batch_operations.h"
#include "album/details_records.h"
#include "album/folder_store.h"
#include "album/index_check.h"
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
  const RefPtr<HistoryRecord> move = Record("Move Photo");
  history.Push(move);
  EXPECT_EQ(move->ref_count(), 2);
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

  // A new step drops "Move Photo" from the redo branch and lets the record go.
  history.Push(Record("Remove Photo"));
  EXPECT_EQ(move->ref_count(), 1);
  EXPECT_EQ(history.count(), 2);
  EXPECT_EQ(history.index(), 1);
  EXPECT_FALSE(history.Redo(album_));
  EXPECT_EQ(history.UndoLabel(), "Remove Photo");
}

}  // namespace
}  // namespace quorvane::album

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;

// Add, remove and move records on a real album folder.
class PhotoListRecordTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(temp_ / "album");
    album_ = std::make_unique<Album>(std::make_unique<FolderStore>(temp_ / "album"));
    image::Image image;
    ASSERT_TRUE(image.Create(6, 4, false));
    for (const char* name : {"a.png", "b.png", "c.png", "d.png"}) {
      sources_.push_back(temp_ / name);
      ASSERT_TRUE(image.Save(sources_.back(), image::ImageFormat::kPng));
    }
  }

  std::string Names() const {
    std::string names;
    for (const AlbumPhoto& photo : album_->photos()) names += photo.image_file.substr(0, 1);
    return names;
  }

  testing::TempDir temp_;
  std::unique_ptr<Album> album_;
  std::vector<fs::path> sources_;
  AlbumHistory history_;
};

TEST_F(PhotoListRecordTest, AddRemoveAndMoveUndoAndRedo) {
  std::vector<size_t> added;
  ASSERT_EQ(
      AddImages(*album_, std::span(sources_).first(2), -1, platform::NoProgress(), &added).done, 2);
  history_.Push(MakeAddPhotoRecord(*album_, added));
  added.clear();
  // c and d go in between a and b.
  ASSERT_EQ(
      AddImages(*album_, std::span(sources_).subspan(2), 1, platform::NoProgress(), &added).done,
      2);
  history_.Push(MakeAddPhotoRecord(*album_, added));
  EXPECT_EQ(Names(), "acdb");

  const size_t doomed[] = {0, 2};
  std::vector<RemovedPhoto> removed;
  ASSERT_EQ(DeletePhotos(*album_, doomed, platform::NoProgress(), &removed).done, 2);
  history_.Push(MakeRemovePhotoRecord(std::move(removed)));
  EXPECT_EQ(Names(), "cb");

  const size_t last[] = {1};
  RefPtr<HistoryRecord> move = MovePhotos(*album_, last, 0);
  ASSERT_TRUE(move);
  EXPECT_EQ(move->Label(), "Move Photo");
  history_.Push(move);
  EXPECT_EQ(Names(), "bc");

  const char* undone[] = {"cb", "acdb", "ab", ""};
  for (const char* expected : undone) {
    ASSERT_TRUE(history_.Undo(*album_));
    EXPECT_EQ(Names(), expected);
  }
  const char* redone[] = {"ab", "acdb", "cb", "bc"};
  for (const char* expected : redone) {
    ASSERT_TRUE(history_.Redo(*album_));
    EXPECT_EQ(Names(), expected);
  }
  // The files never left the album's folder while undo could need them.
  EXPECT_TRUE(fs::exists(temp_ / "album" / "a.png"));
}

TEST_F(PhotoListRecordTest, MoveRefusesBadPositions) {
  ASSERT_EQ(AddImages(*album_, sources_, -1, platform::NoProgress()).done, 4);
  const size_t unordered[] = {2, 1};
  EXPECT_FALSE(MovePhotos(*album_, unordered, 0));
  const size_t outside[] = {4};
  EXPECT_FALSE(MovePhotos(*album_, outside, 0));
  const size_t two[] = {0, 1};
  ASSERT_TRUE(MovePhotos(*album_, two, 4));
  EXPECT_EQ(Names(), "cdab");
}

// The photo's record follows it by file name, so a move in between does not misdirect undo.
TEST_F(PhotoListRecordTest, DetailRecordsUndoRedoAndSkipWhatChangesNothing) {
  auto caption_of = [](std::string caption) {
    PhotoDetails details;
    details.title = std::move(caption);
    return details;
  };
  auto album_title = [](std::string title, std::optional<platform::OleDate> date) {
    AlbumDetails details;
    details.title = std::move(title);
    details.date = date;
    return details;
  };
  ASSERT_EQ(AddImages(*album_, std::span(sources_).first(2), -1, platform::NoProgress()).done, 2);
  album_->photos()[1].keywords = "kept";
  RefPtr<HistoryRecord> caption = ChangePhotoDetails(*album_, 1, caption_of("Beach"));
  ASSERT_TRUE(caption);
  history_.Push(caption);
  history_.Push(ChangeAlbumDetails(*album_, album_title("Trip", 45000.0)));
  const size_t last[] = {1};
  history_.Push(MovePhotos(*album_, last, 0));
  EXPECT_EQ(history_.UndoMenu().text, "&Undo Move Photo\tCtrl+Z");
  ASSERT_TRUE(history_.Undo(*album_));
  EXPECT_EQ(history_.UndoMenu().text, "&Undo Edit Album Description\tCtrl+Z");
  ASSERT_TRUE(history_.Undo(*album_));
  EXPECT_EQ(album_->title(), "");
  EXPECT_EQ(album_->date(), platform::kNoDate);
  ASSERT_TRUE(history_.Redo(*album_));
  ASSERT_TRUE(history_.Redo(*album_));  // b is first again
  ASSERT_TRUE(history_.Undo(*album_));
  ASSERT_TRUE(history_.Undo(*album_));
  ASSERT_TRUE(history_.Undo(*album_));
  EXPECT_EQ(album_->photos()[1].title, "");
  EXPECT_EQ(album_->photos()[1].keywords, "kept");
  ASSERT_TRUE(history_.Redo(*album_));
  EXPECT_EQ(album_->photos()[1].title, "Beach");

  // Nothing to change is no step; a value the index cannot hold is refused with its reason.
  PhotoDetails same = caption_of("Beach");
  same.date = album_->photos()[1].date;
  EXPECT_FALSE(ChangePhotoDetails(*album_, 1, same));
  EXPECT_EQ(album_->last_error(), "");
  EXPECT_FALSE(ChangeAlbumDetails(*album_, album_title("a\xff", std::nullopt)));
  EXPECT_EQ(album_->last_error(), "The album index cannot hold the title: it " +
                                      IndexValueProblem(IndexField::kEncoded, "a\xff"));
  EXPECT_EQ(album_->title(), "");
}

}  // namespace
}  // namespace quorvane::album
