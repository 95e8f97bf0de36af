// The copy of an album that goes out by mail: resized into the box, or stripped of private
// data, always beside an album that stays as it was.
#include "mail/workflow/mail_album.h"

#include <gtest/gtest.h>

#include "album/photo_naming.h"
#include "image/private_metadata.h"
#include "mail/workflow/album_mail_workflow.h"
#include "mail/workflow/tests/test_album.h"
#include "testing/recording_progress.h"

namespace quorvane::mail {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::RecordingProgress;
using testing::TempDir;

class MailAlbumTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MakeAlbum(dir_ / "Trip", "Trip",
              {{"wide.jpg", 1600, 1200},
               {"tall.jpg", 1200, 1600},
               {"small.png", 300, 200},
               {"gps.jpg", 400, 300, true}});
    album_ = OpenTestAlbum(dir_ / "Trip");
    fs::create_directory(dir_ / "tmp");
    for (const auto& entry : fs::directory_iterator(dir_ / "Trip")) {
      before_.push_back(ReadTextFile(entry.path()));
    }
  }
  void ExpectAlbumUntouched() {
    std::vector<std::string> after;
    for (const auto& entry : fs::directory_iterator(dir_ / "Trip")) {
      after.push_back(ReadTextFile(entry.path()));
    }
    EXPECT_EQ(after, before_);
  }
  bool TempIsEmpty() const { return fs::is_empty(dir_ / "tmp"); }

  TempDir dir_;
  std::unique_ptr<album::Album> album_;
  std::vector<std::string> before_;
  std::vector<std::string> statuses_;
  StatusCallback record_ = [this](std::string_view text) { statuses_.emplace_back(text); };
};

TEST_F(MailAlbumTest, ResizesIntoTheBoxAndLeavesPhotosThatFit) {
  AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
  ASSERT_TRUE(workflow.Measure()) << workflow.failure();
  const uint64_t original = workflow.album_bytes();
  RecordingProgress progress;
  ASSERT_EQ(workflow.Prepare({ResizeChoice::Box640x480()}, progress, record_), platform::kOk)
      << workflow.failure();
  EXPECT_EQ(statuses_, (std::vector<std::string>{std::string(kPreparingAlbumText),
                                                 std::string(kResizingFinishedText),
                                                 std::string(kPreparedText)}));
  const std::vector<std::string> texts = progress.texts();
  for (const std::string_view text : {kLoadingPhotoText, kResizingText, kSavingPhotoText}) {
    EXPECT_NE(std::find(texts.begin(), texts.end(), text), texts.end()) << text;
  }
  EXPECT_EQ(progress.position(), (std::pair<int64_t, int64_t>{4, 4}));
  EXPECT_LT(workflow.album_bytes(), original);
  EXPECT_NE(workflow.SizeHtml().find("With the resized photos"), std::string::npos);

  // The copy lives in the workflow's folder; read it back as an album.
  fs::path copy;
  for (const auto& entry : fs::recursive_directory_iterator(dir_ / "tmp")) {
    if (entry.path().filename() == "album") copy = entry.path();
  }
  ASSERT_FALSE(copy.empty());
  const auto resized = OpenTestAlbum(copy);
  ASSERT_EQ(resized->photos().size(), 4u);
  const std::vector<std::pair<int, int>> expected = {
      {640, 480}, {360, 480}, {300, 200}, {300, 400}};
  for (size_t i = 0; i < expected.size(); ++i) {
    const album::AlbumPhoto& photo = resized->photos()[i];
    image::ImageInfo info;
    std::string error;
    ASSERT_TRUE(
        image::ReadImageInfo(copy / photo.image_file, image::ImageFormat::kUnknown, &info, &error));
    EXPECT_EQ(std::pair(info.width, info.height), expected[i]) << photo.image_file;
    EXPECT_EQ(std::pair(photo.width, photo.height), expected[i]) << photo.image_file;
    EXPECT_TRUE(fs::exists(copy / album::ThumbnailName(photo.image_file)));
  }
  EXPECT_EQ(ReadTextFile(copy / "small.png"), ReadTextFile(dir_ / "Trip" / "small.png"));
  ExpectAlbumUntouched();
  workflow.Cleanup();
  EXPECT_TRUE(TempIsEmpty());
}

TEST_F(MailAlbumTest, PrivacyStripsTheCopiesNeverTheAlbum) {
  AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
  PrepareOptions options;
  options.strip_private = true;
  ASSERT_EQ(workflow.Prepare(options, platform::NoProgress(), record_), platform::kOk)
      << workflow.failure();
  fs::path copy;
  for (const auto& entry : fs::recursive_directory_iterator(dir_ / "tmp")) {
    if (entry.path().filename() == "album") copy = entry.path();
  }
  const std::string sent = ReadTextFile(copy / "gps.jpg");
  EXPECT_FALSE(image::HasPrivateMetadata(sent));
  EXPECT_EQ(sent.find("SN12345"), std::string::npos);
  EXPECT_TRUE(image::HasPrivateMetadata(ReadTextFile(dir_ / "Trip" / "gps.jpg")));
  // Without resizing, photos that hold nothing private go as they are.
  EXPECT_EQ(ReadTextFile(copy / "wide.jpg"), ReadTextFile(dir_ / "Trip" / "wide.jpg"));
  ExpectAlbumUntouched();
}

TEST_F(MailAlbumTest, CancelledResizeLeavesNothingBehind) {
  AlbumMailWorkflow workflow(*album_, dir_ / "tmp");
  RecordingProgress progress(std::string{kResizingText});
  EXPECT_EQ(workflow.Prepare({ResizeChoice::Box640x480()}, progress, record_),
            platform::kCancelled);
  EXPECT_EQ(statuses_.back(), kPreparationCancelledText);
  EXPECT_TRUE(TempIsEmpty());
  ExpectAlbumUntouched();
}

TEST_F(MailAlbumTest, EstimatesScaleResizedPhotosByThePixelsTheyKeep) {
  AlbumContents contents;
  std::string error;
  ASSERT_TRUE(ListAlbumContents(*album_, &contents, &error)) << error;
  ASSERT_EQ(contents.photos.size(), 4u);
  EXPECT_EQ(contents.files.size(), 9u);  // index, four photos, four thumbnails
  EXPECT_EQ(EstimateAlbumBytes(contents, ResizeChoice::AsIs()), contents.bytes);
  const uint64_t wide = contents.files[contents.photos[0].file].bytes;
  const uint64_t at_640 = EstimateAlbumBytes(contents, ResizeChoice::Box640x480());
  // 1600x1200 keeps 16% of its pixels, 1200x1600 12%; the small ones count whole.
  EXPECT_LT(at_640, contents.bytes - wide / 2);
  EXPECT_GE(EstimateAlbumBytes(contents, ResizeChoice::Box800x600()), at_640);
}

}  // namespace
}  // namespace quorvane::mail
