// Edits on an album's photos, in a real album folder: each chosen photo changes and the rest
// do not, undo and redo swap the kept versions, a broken photo does not stop the others, and a
// cancel half-way leaves every photo as it was with nothing in the history.
#include "imaging/album_edit.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/batch_operations.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"

namespace quorvane::imaging {
namespace {

namespace fs = std::filesystem;
using image::Image;
using image::Rgba;

class AlbumEditTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir_ / "album");
    album_ = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(dir_ / "album"));
    std::vector<fs::path> sources;
    for (int i = 0; i < 3; ++i) {
      Image image;
      const uint8_t level = static_cast<uint8_t>(60 + 40 * i);
      ASSERT_TRUE(image.Create(12, 8, false, Rgba{level, level, level, 255}));
      sources.push_back(dir_ / ("p" + std::to_string(i) + ".png"));
      ASSERT_TRUE(image.Save(sources.back(), image::ImageFormat::kPng));
    }
    ASSERT_EQ(album::AddImages(*album_, sources, -1, platform::NoProgress()).done, 3);
  }

  // The red level of the photo's stored image (the photos are flat).
  int StoredLevel(size_t index) {
    Image image;
    if (!image.Load(dir_ / "album" / album_->photos()[index].image_file)) return -1;
    return image.GetPixel(5, 5).r;
  }
  std::vector<int> Levels() { return {StoredLevel(0), StoredLevel(1), StoredLevel(2)}; }

  testing::TempDir dir_;
  std::unique_ptr<album::Album> album_;
  album::AlbumHistory history_;
};

TEST_F(AlbumEditTest, ChangesTheChosenPhotosAndUndoesAsOneStep) {
  testing::RecordingProgress progress;
  const size_t chosen[] = {0, 2};
  const AlbumEditResult result =
      RunAlbumEdit(*album_, history_, LightFilter(0, 80), chosen, progress);
  EXPECT_EQ(result.code, kOk);
  EXPECT_EQ(result.changed, 2);
  // 60 -> 128 + (60 - 128) * 0.8 = 73.6 -> 74; 140 -> 137.6 -> 138.
  EXPECT_EQ(Levels(), (std::vector<int>{74, 100, 138}));
  // One text per photo: the filter's rows move the bar but leave the photo's text in view.
  EXPECT_EQ(progress.texts(),
            (std::vector<std::string>{"Reduce contrast on p0.png (image 1 of 2) ...",
                                      "Reduce contrast on p2.png (image 2 of 2) ..."}));
  EXPECT_EQ(progress.position(), std::make_pair(int64_t{2000}, int64_t{2000}));
  EXPECT_EQ(history_.UndoMenu().text, "&Undo Contrast Photo\tCtrl+Z");

  ASSERT_TRUE(history_.Undo(*album_));
  EXPECT_EQ(Levels(), (std::vector<int>{60, 100, 140}));
  ASSERT_TRUE(history_.Redo(*album_));
  EXPECT_EQ(Levels(), (std::vector<int>{74, 100, 138}));
  // The thumbnail follows the image.
  Image thumbnail;
  ASSERT_TRUE(thumbnail.Load(dir_ / "album" / album::ThumbnailName("p0.png")));
  EXPECT_NEAR(thumbnail.GetPixel(2, 2).r, 74, 2);  // JPEG
}

TEST_F(AlbumEditTest, GoesOnPastAPhotoThatFails) {
  testing::WriteTextFile(dir_ / "album" / "p1.png", "no longer a picture");
  const size_t all[] = {0, 1, 2};
  const AlbumEditResult result =
      RunAlbumEdit(*album_, history_, LightFilter(20, 100), all, platform::NoProgress());
  EXPECT_EQ(result.changed, 2);
  ASSERT_EQ(result.failures.size(), 1u);
  EXPECT_EQ(result.failures[0].rfind("p1.png: ", 0), 0u) << result.failures[0];
  EXPECT_EQ(StoredLevel(0), 80);
  EXPECT_EQ(StoredLevel(2), 160);
  EXPECT_EQ(history_.UndoLabel(), "Lighten Photo");
}

// Size changes travel with the kept versions, as ReplacePhotoImage's tests show.
TEST_F(AlbumEditTest, CancelOrNothingToDoLeavesEveryPhotoAsBefore) {
  const size_t all[] = {0, 1, 2};
  // The user cancels while the second photo is under way.
  testing::RecordingProgress progress("(image 2 of 3)");
  const AlbumEditResult result = RunAlbumEdit(*album_, history_, SepiaFilter(), all, progress);
  EXPECT_EQ(result.code, kCancelled);
  EXPECT_EQ(result.changed, 1);
  EXPECT_EQ(Levels(), (std::vector<int>{60, 100, 140}));
  EXPECT_EQ(history_.count(), 0);
  EXPECT_EQ(album_->photos()[0].width, 12);

  // A resize that would enlarge every photo has nothing to do, and nothing to undo.
  EXPECT_EQ(RunAlbumEdit(*album_, history_,
                         ResizeFilter(1024, 768, true, true, image::ResampleMode::kBicubic), all,
                         platform::NoProgress())
                .changed,
            0);
  EXPECT_EQ(history_.count(), 0);
}

}  // namespace
}  // namespace quorvane::imaging
