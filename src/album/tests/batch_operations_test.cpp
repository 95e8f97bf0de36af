// Many photos at once (progress texts, the position rule of deletes, going on after a
// failure) and the cell pictures.
#include "album/batch_operations.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/cell_bitmaps.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using image::Image;
using image::ImageFormat;
using image::Rgba;

class BatchOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir_ / "album");
    album_ = std::make_unique<Album>(std::make_unique<FolderStore>(dir_ / "album"));
  }

  // The texts reported since the last call: one per photo, the batch's own.
  std::vector<std::string> NewTexts() {
    const std::vector<std::string> all = batch_.texts();
    std::vector<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(seen_), all.end());
    seen_ = all.size();
    return fresh;
  }

  fs::path Source(const std::string& name, int width = 30, int height = 20) {
    Image image;
    EXPECT_TRUE(image.Create(width, height, false, Rgba{10, 200, 30, 255}));
    const fs::path path = dir_ / "in" / name;
    fs::create_directories(path.parent_path());
    EXPECT_TRUE(image.Save(path, FindImageType(name)->format));
    return path;
  }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const AlbumPhoto& photo : album_->photos()) names.push_back(photo.image_file);
    return names;
  }

  testing::TempDir dir_;
  std::unique_ptr<Album> album_;
  testing::RecordingProgress batch_;
  size_t seen_ = 0;
};

TEST_F(BatchOperationsTest, AddingGoesOnPastAFailureWithTheBatchTexts) {
  testing::WriteTextFile(dir_ / "in" / "broken.png", "not a picture");
  const std::vector<fs::path> sources = {Source("a.jpg"), dir_ / "in" / "broken.png",
                                         Source("a~b.png")};
  const BatchResult result = AddImages(*album_, sources, -1, batch_);
  EXPECT_EQ(result.done, 2);
  ASSERT_EQ(result.failures.size(), 1u);
  EXPECT_EQ(result.failures[0].rfind("broken.png: ", 0), 0u) << result.failures[0];
  EXPECT_EQ(NewTexts(), (std::vector<std::string>{"Adding \"a.jpg\" (image 1 of 3) ...",
                                                  "Adding \"broken.png\" (image 2 of 3) ...",
                                                  "Adding \"a~b.png\" (image 3 of 3) ..."}));
  EXPECT_EQ(batch_.position(), std::make_pair(int64_t{300}, int64_t{300}));
  EXPECT_EQ(Files(), (std::vector<std::string>{"a.jpg", "a-b.png"}));

  // The same files again get names of their own; "~" is replaced before the name is made
  // unique, so a-b.png is not overwritten.
  std::vector<size_t> added;
  const std::vector<fs::path> again = {sources[0], sources[2]};
  EXPECT_EQ(AddImages(*album_, again, 1, batch_, &added).done, 2);
  EXPECT_EQ(Files(), (std::vector<std::string>{"a.jpg", "a-0.jpg", "a-b-0.png", "a-b.png"}));
  EXPECT_EQ(added, (std::vector<size_t>{1, 2}));
}

TEST_F(BatchOperationsTest, DeletingTakesPositionMinusKAndLabelsByCaption) {
  const std::vector<fs::path> sources = {Source("p0.png"), Source("p1.png"), Source("p2.png"),
                                         Source("p3.png"), Source("p4.png")};
  ASSERT_EQ(AddImages(*album_, sources, -1, batch_).done, 5);
  album_->photos()[3].title = "Harbour at dawn";
  NewTexts();

  const std::vector<size_t> positions = {1, 3, 4};
  std::vector<RemovedPhoto> removed;
  const BatchResult result = DeletePhotos(*album_, positions, batch_, &removed);
  EXPECT_EQ(result.done, 3);
  EXPECT_EQ(Files(), (std::vector<std::string>{"p0.png", "p2.png"}));
  EXPECT_EQ(NewTexts(), (std::vector<std::string>{"Deleting p1.png (image 1 of 3) ...",
                                                  "Deleting \"Harbour at dawn\" (image 2 of 3) ...",
                                                  "Deleting p4.png (image 3 of 3) ..."}));
  ASSERT_EQ(removed.size(), 3u);
  EXPECT_EQ(removed[1].position, 2u);  // given 3, one removal earlier
  EXPECT_EQ(removed[1].photo.title, "Harbour at dawn");
  // Files stay for undo.
  EXPECT_TRUE(fs::exists(dir_ / "album" / "p3.png"));
  EXPECT_TRUE(fs::exists(dir_ / "album" / "_thumb_p3.jpg"));

  // A list out of order or out of range changes nothing.
  const std::vector<size_t> bad = {1, 0};
  EXPECT_EQ(DeletePhotos(*album_, bad, batch_, nullptr).failures.size(), 1u);
  const std::vector<size_t> beyond = {7};
  EXPECT_EQ(DeletePhotos(*album_, beyond, batch_, nullptr).done, 0);
  EXPECT_EQ(album_->photos().size(), 2u);
}

TEST_F(BatchOperationsTest, CancelStopsBetweenPhotos) {
  // The user cancels while the second photo is under way.
  testing::RecordingProgress progress("(image 2 of 3)");
  const std::vector<fs::path> sources = {Source("a.png"), Source("b.png"), Source("c.png")};
  const BatchResult result = AddImages(*album_, sources, -1, progress);
  EXPECT_TRUE(result.cancelled);
  EXPECT_EQ(result.done, 2);  // the photo at hand is finished, the next one not begun
}

TEST_F(BatchOperationsTest, CopyingOutFitsAndReportsEachPhoto) {
  const std::vector<fs::path> sources = {Source("wide.png", 400, 100), Source("b.jpg")};
  ASSERT_EQ(AddImages(*album_, sources, -1, batch_).done, 2);
  NewTexts();
  const fs::path out = dir_ / "out";
  fs::create_directories(out);
  const std::vector<size_t> positions = {0, 1};
  const BatchResult result = CopyImages(*album_, positions, out, FitSize{100, 100}, batch_);
  EXPECT_EQ(result.done, 2);
  EXPECT_EQ(NewTexts(), (std::vector<std::string>{"Copying \"wide.png\" (image 1 of 2) ...",
                                                  "Copying \"b.jpg\" (image 2 of 2) ..."}));
  Image wide;
  ASSERT_TRUE(wide.Load(out / "wide.png"));
  EXPECT_EQ(wide.width(), 100);
  EXPECT_EQ(wide.height(), 25);
  // A second copy into the same folder fails per photo instead of overwriting.
  EXPECT_EQ(CopyImages(*album_, positions, out, std::nullopt, batch_).failures.size(), 2u);
}

TEST(CellBitmapsTest, ThumbnailIsCentredOnWhite) {
  Image thumbnail;
  ASSERT_TRUE(thumbnail.Create(101, 51, false, Rgba{200, 0, 0, 255}));
  const Image cell = MakeCellBitmap(thumbnail, 120, 90);
  ASSERT_EQ(cell.width(), 120);
  ASSERT_EQ(cell.height(), 90);
  // left = 19 / 2 = 9, top = 39 / 2 = 19 (integer division)
  EXPECT_EQ(cell.GetPixel(9, 19), (Rgba{200, 0, 0, 255}));
  EXPECT_EQ(cell.GetPixel(109, 69), (Rgba{200, 0, 0, 255}));
  EXPECT_EQ(cell.GetPixel(8, 19), (Rgba{255, 255, 255, 255}));
  EXPECT_EQ(cell.GetPixel(9, 18), (Rgba{255, 255, 255, 255}));
  EXPECT_EQ(cell.GetPixel(110, 70), (Rgba{255, 255, 255, 255}));
  // A thumbnail larger than the cell is clipped, not refused.
  EXPECT_EQ(MakeCellBitmap(thumbnail, 50, 20).GetPixel(0, 0), (Rgba{200, 0, 0, 255}));
  EXPECT_FALSE(MakeCellBitmap(thumbnail, 0, 20).IsValid());
}

TEST(CellBitmapsTest, PlaceholderHasFrameCrossAndText) {
  const Image bitmap = MakeNoImageBitmap(120, 90);
  ASSERT_EQ(bitmap.width(), 120);
  const Rgba black{0, 0, 0, 255}, grey{192, 192, 192, 255};
  EXPECT_EQ(bitmap.GetPixel(60, 0), black);
  EXPECT_EQ(bitmap.GetPixel(119, 45), black);
  EXPECT_EQ(bitmap.GetPixel(0, 0), black);
  EXPECT_EQ(bitmap.GetPixel(119, 89), black);  // end of one diagonal
  EXPECT_EQ(bitmap.GetPixel(119, 0), black);   // start of the other
  EXPECT_EQ(bitmap.GetPixel(30, 70), grey);    // off the lines and the text
  // The text darkens some pixels around the centre that neither diagonal passes through.
  int dark = 0;
  for (int y = 36; y < 54; ++y) {
    for (int x = 20; x < 45; ++x) dark += bitmap.GetPixel(x, y).r < 128;
  }
  EXPECT_GT(dark, 5);
  EXPECT_FALSE(MakeNoImageBitmap(0, 5).IsValid());
}

}  // namespace
}  // namespace quorvane::album
