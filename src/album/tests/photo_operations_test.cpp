// Photos in and out of an album folder: naming, fitting, adding, replacing with kept
// versions, copying out, and when the files of removed photos may go.
#include "album/photo_operations.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "album/album_index.h"
#include "album/album_save_as.h"
#include "album/folder_store.h"
#include "album/photo_naming.h"
#include "platform/ole_date.h"
#include "testing/temp_dir.h"
#include "testing/test_images.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using image::Image;
using image::ImageFormat;
using image::testing::Quadrants;

class PhotoOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(album_dir());
    album_ = std::make_unique<Album>(std::make_unique<FolderStore>(album_dir()));
  }

  fs::path album_dir() const { return dir_ / "album"; }
  fs::path Source(const Image& image, const std::string& name, ImageFormat format) {
    const fs::path path = dir_ / "sources" / name;
    fs::create_directories(path.parent_path());
    EXPECT_TRUE(image.Save(path, format)) << image.last_error();
    return path;
  }
  bool InAlbum(const std::string& name) const { return fs::exists(album_dir() / name); }

  testing::TempDir dir_;
  std::unique_ptr<Album> album_;
};

TEST(PhotoNamingTest, TypesThumbnailsUrlsAndLocations) {
  ASSERT_NE(FindImageType("IMG.Jpeg"), nullptr);
  EXPECT_EQ(FindImageType("IMG.Jpeg")->type_name, "JPEG");
  EXPECT_EQ(FindImageType("a.b.tif")->format, ImageFormat::kTiff);
  EXPECT_EQ(FindImageType("x.ico")->type_name, "Icon");
  EXPECT_EQ(FindImageType("x.tga")->type_name, "Targa");
  EXPECT_EQ(FindImageType("noextension"), nullptr);
  EXPECT_EQ(FindImageType("photo.jpg.txt"), nullptr);

  EXPECT_EQ(ThumbnailName("IMG_0012.png"), "_thumb_IMG_0012.jpg");
  EXPECT_EQ(ThumbnailName("a.b.jpeg"), "_thumb_a.b.jpg");
  EXPECT_EQ(ThumbnailName("plain"), "_thumb_plain.jpg");
  EXPECT_EQ(AlbumFileName("holiday~1~.JPG"), "holiday-1-.JPG");

  EXPECT_TRUE(IsUrl("HTTPS://example.org/a"));
  EXPECT_TRUE(IsUrl("ftp://host/x"));
  EXPECT_FALSE(IsUrl("http:/host"));
  EXPECT_FALSE(IsUrl("/home/me/http://x"));

  Album album(std::make_unique<FolderStore>("."));
  album.SetLocation("http://example.org/albums/trip/index.xml");
  EXPECT_TRUE(album.location_is_url());
  EXPECT_EQ(album.location_folder(), "http://example.org/albums/trip/");
  album.SetLocation("C:\\Albums\\Trip");
  EXPECT_FALSE(album.location_is_url());
  EXPECT_EQ(album.location_folder(), "C:\\Albums\\");
  album.SetLocation("/home/me/Albums/Trip");
  EXPECT_EQ(album.location_folder(), "/home/me/Albums/");
}

TEST_F(PhotoOperationsTest, UniqueNamesCountFromZeroBeforeTheLastDot) {
  EXPECT_EQ(MakeUniqueName(*album_, "a.b.jpg"), "a.b.jpg");
  testing::WriteTextFile(album_dir() / "a.b.jpg", "x");
  testing::WriteTextFile(album_dir() / "a.b-0.jpg", "x");
  EXPECT_EQ(MakeUniqueName(*album_, "a.b.jpg"), "a.b-1.jpg");
  testing::WriteTextFile(album_dir() / "readme", "x");
  EXPECT_EQ(MakeUniqueName(*album_, "readme"), "readme-0");
}

// The arithmetic itself is the image library's (FitInside); here, the two flags.
TEST_F(PhotoOperationsTest, FitImageFlagsEnlargeOrStretchOnlyWhenAsked) {
  Image image = Quadrants(100, 50);
  ASSERT_TRUE(FitImage(image, 118, 88, true, true, image::ResampleMode::kBilinear));
  EXPECT_EQ(image.width(), 100);  // fits already: unchanged
  ASSERT_TRUE(FitImage(image, 118, 88, true, false, image::ResampleMode::kBilinear));
  EXPECT_EQ(image.width(), 118);  // enlarged, width bound: 118 / 2
  EXPECT_EQ(image.height(), 59);
  ASSERT_TRUE(FitImage(image, 40, 40, false, true, image::ResampleMode::kBilinear));
  EXPECT_EQ(image.width(), 40);  // proportions not kept
  EXPECT_EQ(image.height(), 40);
}

TEST_F(PhotoOperationsTest, AddingStoresTheFileItsThumbnailAndTheRecord) {
  const fs::path source = Source(Quadrants(1600, 1200), "holiday~1.JPG", ImageFormat::kJpeg);
  // Each step's text with its position.
  struct Steps : platform::ProgressSink {
    void SetText(std::string_view text) override { text_ = text; }
    void SetPosition(int64_t step, int64_t count) override {
      seen.push_back(text_ + " " + std::to_string(step) + "/" + std::to_string(count));
    }
    std::string text_;
    std::vector<std::string> seen;
  } steps;
  ASSERT_TRUE(AddImageFromDisk(*album_, source, "holiday~1.JPG", -1, steps))
      << album_->last_error();
  EXPECT_EQ(steps.seen,
            (std::vector<std::string>{"Loading image from disk... 0/3", "Creating thumbnail... 1/3",
                                      "Adding image to album... 2/3"}));
  ASSERT_EQ(album_->photos().size(), 1u);
  const AlbumPhoto& photo = album_->photos()[0];
  EXPECT_EQ(photo.image_file, "holiday-1.JPG");
  EXPECT_EQ(photo.format, "JPEG");
  EXPECT_EQ(photo.width, 1600);
  EXPECT_TRUE(album_->modified());

  Image thumbnail;
  ASSERT_TRUE(thumbnail.Load(album_dir() / "_thumb_holiday-1.jpg"));
  EXPECT_EQ(thumbnail.format(), ImageFormat::kJpeg);
  image::testing::ExpectCorners(thumbnail, 117, 88, 40);  // shrunk, not cropped
}

TEST_F(PhotoOperationsTest, BadSourcesFailWithTheirReasonAndTakeNothingIn) {
  testing::WriteTextFile(dir_ / "noextension", "whatever");
  EXPECT_FALSE(AddImageFromDisk(*album_, dir_ / "noextension", "noextension", -1));
  EXPECT_EQ(album_->last_error(), "Unable to determine image format");

  testing::WriteTextFile(dir_ / "random.gif", std::string(300, '\x5a'));
  EXPECT_FALSE(AddImageFromDisk(*album_, dir_ / "random.gif", "random.gif", -1));
  EXPECT_FALSE(album_->last_error().empty());

  EXPECT_TRUE(album_->photos().empty());
  EXPECT_FALSE(album_->modified());
  EXPECT_TRUE(fs::is_empty(album_dir()));
}

// Another program with the album open may take a name between our choosing it and our file
// arriving: the file then takes the next free name, and the other program's file stays.
TEST_F(PhotoOperationsTest, NewFilesNeverReplaceAFileAnotherProgramJustMade) {
  testing::WriteTextFile(album_dir() / "b.png", "theirs");
  const fs::path source = Source(Quadrants(20, 20), "b.png", ImageFormat::kPng);
  ASSERT_TRUE(AddImageFromDisk(*album_, source, "b.png", -1)) << album_->last_error();
  EXPECT_EQ(album_->photos()[0].image_file, "b-0.png");
  EXPECT_TRUE(InAlbum("_thumb_b-0.jpg"));
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "b.png"), "theirs");
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "b-0.png"), testing::ReadTextFile(source));

  // The store itself refuses, so no caller can replace a file by adding one.
  EXPECT_FALSE(album_->store().ImportFile(source, "b.png"));
  EXPECT_EQ(album_->store().LastError(), "The album already has a file named \"b.png\"");
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "b.png"), "theirs");
  std::vector<std::string> files;
  ASSERT_TRUE(album_->store().ListFiles(&files));
  EXPECT_EQ(files.size(), 3u) << "nothing of the refused copy is left behind";

  // Bytes the index cannot hold in a file name become "-", like "~".
  const fs::path quote = Source(Quadrants(20, 20), "q\"u>o\nte~.png", ImageFormat::kPng);
  ASSERT_TRUE(AddImageFromDisk(*album_, quote, quote.filename().string(), -1));
  EXPECT_EQ(album_->photos()[1].image_file, "q-u-o-te-.png");
}

// A hand-made album may lack a photo's thumbnail: the copy in the other album gets a new one.
// A copy that fails leaves the other album as it was, files and all.
TEST_F(PhotoOperationsTest, CopyToAnotherAlbumMakesAMissingThumbnailOrLeavesNothing) {
  const fs::path source = Source(Quadrants(400, 200), "p.png", ImageFormat::kPng);
  ASSERT_TRUE(AddImageFromDisk(*album_, source, "p.png", -1)) << album_->last_error();
  album_->photos()[0].title = "Quarters";
  fs::remove(album_dir() / "_thumb_p.jpg");
  const fs::path other_dir = dir_ / "other";
  testing::WriteTextFile(other_dir / "p.png", "theirs");
  Album other(std::make_unique<FolderStore>(other_dir));

  ASSERT_TRUE(CopyPhotoToAlbum(*album_, 0, other, -1)) << other.last_error();
  ASSERT_EQ(other.photos().size(), 1u);
  EXPECT_EQ(other.photos()[0].image_file, "p-0.png");
  EXPECT_EQ(other.photos()[0].title, "Quarters");
  EXPECT_EQ(other.photos()[0].width, 400);
  EXPECT_TRUE(other.modified());
  EXPECT_EQ(testing::ReadTextFile(other_dir / "p-0.png"), testing::ReadTextFile(source));
  Image thumbnail;
  ASSERT_TRUE(thumbnail.Load(other_dir / "_thumb_p-0.jpg"));
  EXPECT_EQ(thumbnail.width(), 118);
  EXPECT_EQ(thumbnail.height(), 59);

  // The file copies in, but no thumbnail can be made of it.
  testing::WriteTextFile(album_dir() / "p.png", "not a picture");
  other.set_modified(false);
  EXPECT_FALSE(CopyPhotoToAlbum(*album_, 0, other, 0));
  EXPECT_FALSE(other.last_error().empty());
  EXPECT_EQ(other.photos().size(), 1u);
  EXPECT_FALSE(other.modified());
  EXPECT_EQ(std::distance(fs::directory_iterator(other_dir), fs::directory_iterator()), 3);
}

TEST_F(PhotoOperationsTest, PhotoDateComesFromTheCameraElseFromTheFile) {
  const fs::path camera = dir_ / "camera.jpg";
  fs::copy_file(testing::TestDataPath("images/taken-2021-07-14.jpg"), camera);
  ASSERT_TRUE(AddImageFromDisk(*album_, camera, "camera.jpg", -1)) << album_->last_error();
  EXPECT_EQ(platform::FormatOleDate(album_->photos()[0].date).substr(0, 10), "2021-07-14");

  const fs::path plain = Source(Quadrants(20, 20), "plain.png", ImageFormat::kPng);
  const auto when = fs::file_time_type::clock::now() - std::chrono::hours(24 * 400);
  fs::last_write_time(plain, when);
  ASSERT_TRUE(AddImageFromDisk(*album_, plain, "plain.png", -1));
  const platform::OleDate date = album_->photos()[1].date;
  ASSERT_TRUE(platform::IsValidOleDate(date));
  const double days_ago =
      platform::OleDateFromUnixSeconds(std::time(nullptr)) - date;  // local vs UTC: +-1 day
  EXPECT_NEAR(days_ago, 400.0, 1.01);
}

// Every type of the table goes in, gets a JPEG thumbnail, and comes out again; the lossless
// ones come out pixel for pixel.
TEST_F(PhotoOperationsTest, EveryImageTypeRoundTripsThroughAddThumbnailAndCopyOut) {
  struct Kind {
    const char* name;
    ImageFormat format;
    bool lossless;
  };
  const Kind kinds[] = {{"p.jpg", ImageFormat::kJpeg, false}, {"p.bmp", ImageFormat::kBmp, true},
                        {"p.gif", ImageFormat::kGif, true},   {"p.tif", ImageFormat::kTiff, true},
                        {"p.png", ImageFormat::kPng, true},   {"p.tga", ImageFormat::kTga, true},
                        {"p.pcx", ImageFormat::kPcx, true},   {"p.ico", ImageFormat::kIco, true}};
  const Image picture = Quadrants(160, 120);
  const fs::path out = dir_ / "out";
  fs::create_directories(out);
  for (const Kind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    const fs::path source = Source(picture, kind.name, kind.format);
    const std::string name = MakeUniqueName(*album_, kind.name);
    ASSERT_TRUE(AddImageFromDisk(*album_, source, name, -1)) << album_->last_error();
    const size_t index = album_->photos().size() - 1;
    EXPECT_EQ(album_->photos()[index].width, 160);
    EXPECT_EQ(album_->photos()[index].height, 120);
    Image thumbnail;
    ASSERT_TRUE(thumbnail.Load(album_dir() / ThumbnailName(name)));
    EXPECT_EQ(thumbnail.width(), 117);
    EXPECT_EQ(thumbnail.height(), 88);

    ASSERT_TRUE(CopyImageOut(*album_, index, out / name, std::nullopt)) << album_->last_error();
    EXPECT_EQ(testing::ReadTextFile(out / name), testing::ReadTextFile(source));
    const fs::path small = out / ("small-" + name);
    ASSERT_TRUE(CopyImageOut(*album_, index, small, FitSize{80, 80})) << album_->last_error();
    Image exported;
    ASSERT_TRUE(exported.Load(small, kind.format));
    EXPECT_EQ(exported.format(), kind.format);
    EXPECT_EQ(exported.width(), 80);
    EXPECT_EQ(exported.height(), 60);

    Image loaded;
    ASSERT_TRUE(LoadAlbumImage(*album_, index, &loaded)) << album_->last_error();
    if (kind.lossless) {
      EXPECT_EQ(loaded.GetPixel(10, 10), picture.GetPixel(10, 10));
      EXPECT_EQ(loaded.GetPixel(150, 110), picture.GetPixel(150, 110));
    }
  }
  // Copying out never overwrites.
  EXPECT_FALSE(CopyImageOut(*album_, 0, out / "p.jpg", std::nullopt));
  EXPECT_FALSE(CopyThumbnailOut(*album_, 0, out / "p.jpg"));
  ASSERT_TRUE(CopyThumbnailOut(*album_, 0, out / "thumb.jpg"));
  EXPECT_EQ(testing::ReadTextFile(out / "thumb.jpg"),
            testing::ReadTextFile(album_dir() / "_thumb_p.jpg"));
}

// Replacing keeps the earlier image and thumbnail; one exchange routine goes back and forth.
TEST_F(PhotoOperationsTest, ReplacedVersionsComeBackExactly) {
  const fs::path source = Source(Quadrants(200, 100), "p.png", ImageFormat::kPng);
  ASSERT_TRUE(AddImageFromDisk(*album_, source, "p.png", -1));
  const std::string before_image = testing::ReadTextFile(album_dir() / "p.png");
  const std::string before_thumb = testing::ReadTextFile(album_dir() / "_thumb_p.jpg");
  album_->set_modified(false);

  Image turned = Quadrants(200, 100);
  ASSERT_TRUE(turned.RotateRight());
  PhotoVersion kept;
  ASSERT_TRUE(ReplacePhotoImage(*album_, 0, turned, &kept)) << album_->last_error();
  EXPECT_TRUE(album_->modified());
  EXPECT_EQ(album_->photos()[0].width, 100);
  EXPECT_EQ(album_->photos()[0].height, 200);
  const std::string after_image = testing::ReadTextFile(album_dir() / "p.png");
  EXPECT_NE(after_image, before_image);
  Image thumbnail;
  ASSERT_TRUE(thumbnail.Load(album_dir() / "_thumb_p.jpg"));
  EXPECT_EQ(thumbnail.width(), 44);  // 100x200 bound by the height: 88 / 2
  EXPECT_EQ(thumbnail.height(), 88);

  ASSERT_TRUE(ExchangePhotoVersion(*album_, kept));  // undo
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "p.png"), before_image);
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "_thumb_p.jpg"), before_thumb);
  EXPECT_EQ(album_->photos()[0].width, 200);
  ASSERT_TRUE(ExchangePhotoVersion(*album_, kept));  // redo
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "p.png"), after_image);
  EXPECT_EQ(album_->photos()[0].width, 100);

  // The kept files never reach the index, and closing lets them go.
  ASSERT_TRUE(SaveAlbum(*album_));
  EXPECT_TRUE(InAlbum(kept.image_file));
  ReleaseRetainedFiles(*album_);
  EXPECT_FALSE(InAlbum(kept.image_file));
  EXPECT_FALSE(InAlbum(kept.thumbnail_file));
  EXPECT_EQ(testing::ReadTextFile(album_dir() / "p.png"), after_image);
}

TEST_F(PhotoOperationsTest, RemovedPhotosStayOnDiskUntilTheSavedAlbumNoLongerNamesThem) {
  for (const char* name : {"a.png", "b.png"}) {
    ASSERT_TRUE(
        AddImageFromDisk(*album_, Source(Quadrants(20, 20), name, ImageFormat::kPng), name, -1));
  }
  ASSERT_TRUE(SaveAlbum(*album_));
  album_->photos().erase(album_->photos().begin());  // as a removal does
  album_->RetainFile("a.png");
  album_->RetainFile("_thumb_a.jpg");

  // Closed without saving: the album on disk still shows a.png, so it stays.
  ReleaseRetainedFiles(*album_);
  EXPECT_TRUE(InAlbum("a.png"));
  EXPECT_TRUE(InAlbum("_thumb_a.jpg"));

  album_->RetainFile("a.png");
  album_->RetainFile("_thumb_a.jpg");
  ASSERT_TRUE(SaveAlbum(*album_));
  ReleaseRetainedFiles(*album_);
  EXPECT_FALSE(InAlbum("a.png"));
  EXPECT_FALSE(InAlbum("_thumb_a.jpg"));
  EXPECT_TRUE(InAlbum("b.png"));
}

// Saving under a new name copies photos and thumbnails into a folder that was empty; a
// cancelled save leaves it empty again, and a folder that holds anything is refused.
TEST_F(PhotoOperationsTest, SavingAsANewAlbumCopiesEverythingOrLeavesNothing) {
  for (const char* name : {"a.png", "b.png"}) {
    ASSERT_TRUE(
        AddImageFromDisk(*album_, Source(Quadrants(20, 20), name, ImageFormat::kPng), name, -1));
  }
  album_->set_title("Copied");
  const fs::path target = dir_ / "target";
  fs::create_directories(target);

  platform::CancelFlag cancel;
  cancel.Cancel();
  EXPECT_EQ(SaveAlbumAs(*album_, target, cancel), platform::kCancelled);
  EXPECT_TRUE(fs::is_empty(target));

  ASSERT_EQ(SaveAlbumAs(*album_, target, platform::NoProgress()), platform::kOk)
      << album_->last_error();
  Album copy(std::make_unique<FolderStore>(target));
  ASSERT_TRUE(AlbumIndex::LoadIndex(copy));
  EXPECT_EQ(copy.title(), "Copied");
  ASSERT_EQ(copy.photos().size(), 2u);
  EXPECT_EQ(testing::ReadTextFile(target / "b.png"), testing::ReadTextFile(album_dir() / "b.png"));
  EXPECT_EQ(testing::ReadTextFile(target / "_thumb_b.jpg"),
            testing::ReadTextFile(album_dir() / "_thumb_b.jpg"));

  EXPECT_EQ(SaveAlbumAs(*album_, target, platform::NoProgress()), platform::kFailed);
  EXPECT_EQ(album_->last_error(), "\"" + target.string() + "\" already exists");
}

}  // namespace
}  // namespace quorvane::album
