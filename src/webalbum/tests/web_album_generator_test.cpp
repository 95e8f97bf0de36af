#include "webalbum/web_album_generator.h"

#include <map>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/folder_store.h"
#include "image/image.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"

namespace quorvane::webalbum {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

// Two index page elements of twelve slots each, told apart by their first letter, and a photo
// page that shows every placeholder the generator fills.
constexpr std::string_view kDesign =
    "<PhotoAlbumTemplate Name=\"Test\" PreviewImage=\"p.png\">"
    "<UserVar Tag=\"Mark\" Default=\"m\"/>"
    "<IndexPage><Header>A{IndexPageNum}{Mark}:</Header>"
    "<Image>[{ImageNum} {ImageThumbFileName} {ThumbWidth}x{ThumbHeight}]</Image>"
    "<Image/><Image/><Image/><Image/><Image/><Image/><Image/><Image/><Image/><Image/><Image/>"
    "</IndexPage>"
    "<IndexPage><Header>B{IndexPageNum}:</Header>"
    "<Image>[{ImageNum}]</Image><Image/><Image/><Image/><Image/><Image/><Image/><Image/>"
    "<Image/><Image/><Image/><Image/></IndexPage>"
    "<PhotoDetailPage><Header>{ImageTitle}|</Header><Image>{ImageFileName} {ImageWidth}x"
    "{ImageHeight} {ImageFileSize}</Image><FixedContent>|{IndexPageFileName}</FixedContent>"
    "</PhotoDetailPage></PhotoAlbumTemplate>";

class GeneratorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteTextFile(dir_ / "design/test.qvotmpl", kDesign);
    WriteTextFile(dir_ / "design/style.css", "body{}");
    WriteTextFile(dir_ / "design/p.png", "preview, never copied");
    ASSERT_EQ(design_.Load(dir_ / "design/test.qvotmpl"), platform::kOk);
    fs::create_directories(dir_ / "album");
    album_ = std::make_unique<album::Album>(std::make_unique<album::FolderStore>(dir_ / "album"));
  }

  void AddPhoto(const std::string& name, int width, int height, image::ImageFormat format) {
    image::Image picture;
    ASSERT_TRUE(picture.Create(width, height, false, {200, 90, 30, 255}));
    ASSERT_TRUE(picture.Save(dir_ / "album" / name, format));
    album::AlbumPhoto photo;
    photo.image_file = name;
    photo.title = "Title of " + name;
    album_->photos().push_back(photo);
  }

  platform::ResultCode Generate(const fs::path& out, WebAlbumOptions options = {}) {
    WebAlbumGenerator generator(design_, out, options);
    const platform::ResultCode result = generator.Generate(*album_, progress_);
    last_error_ = generator.last_error();
    return result;
  }

  // Every file of a folder with its bytes.
  static std::map<std::string, std::string> Contents(const fs::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
      files[entry.path().filename().string()] = ReadTextFile(entry.path());
    }
    return files;
  }

  TempDir dir_;
  DesignTemplate design_;
  std::unique_ptr<album::Album> album_;
  testing::RecordingProgress progress_;
  std::string last_error_;
};

TEST_F(GeneratorTest, IndexPagesRotateAndTheLastHoldsTheRest) {
  for (int i = 0; i < 25; ++i) {
    AddPhoto("p" + std::to_string(i) + ".jpg", 40, 30, image::ImageFormat::kJpeg);
  }
  design_.SetVariable("Mark", "!");
  ASSERT_EQ(Generate(dir_ / "out"), platform::kOk) << last_error_;
  EXPECT_EQ(ReadTextFile(dir_ / "out/index.html").substr(0, 4), "A1!:");
  EXPECT_EQ(ReadTextFile(dir_ / "out/index1.html"), "B2:[13]");
  EXPECT_EQ(ReadTextFile(dir_ / "out/index2.html"), "A3!:[25 p24-thumb.jpg 40x30]");
  EXPECT_FALSE(fs::exists(dir_ / "out/index3.html"));
  EXPECT_EQ(ReadTextFile(dir_ / "out/p13.html"), "Title of p13.jpg|p13.jpg 40x30 1 KB|index1.html");
  EXPECT_TRUE(fs::exists(dir_ / "out/style.css"));
  EXPECT_FALSE(fs::exists(dir_ / "out/p.png"));
  EXPECT_FALSE(fs::exists(dir_ / "out/test.qvotmpl"));

  const auto texts = progress_.texts();
  ASSERT_FALSE(texts.empty());
  EXPECT_EQ(texts.front(), "Pre-generating index pages...");
  EXPECT_EQ(texts.back(), "Album creation finished.");
  EXPECT_EQ(progress_.titles(), std::vector<std::string>{"Photo Album"});
  EXPECT_EQ(progress_.position(), (std::pair<int64_t, int64_t>(25, 25)));
}

TEST_F(GeneratorTest, PhotosThatFitAreCopiedAndOthersReencoded) {
  AddPhoto("small one.png", 640, 480, image::ImageFormat::kPng);
  AddPhoto("big.png", 1600, 1000, image::ImageFormat::kPng);
  ASSERT_EQ(Generate(dir_ / "out"), platform::kOk) << last_error_;
  EXPECT_EQ(ReadTextFile(dir_ / "out/small_one.png"), ReadTextFile(dir_ / "album/small one.png"));
  EXPECT_EQ(ReadTextFile(dir_ / "out/index.html"), "A1m:[1 small_one-thumb.jpg 100x75]");
  image::Image big;
  ASSERT_TRUE(big.Load(dir_ / "out/big.jpg"));
  EXPECT_EQ(big.width(), 800);
  EXPECT_EQ(big.height(), 500);
  EXPECT_EQ(ReadTextFile(dir_ / "out/big.html").substr(0, 30), "Title of big.png|big.jpg 800x5");

  WebAlbumOptions always;
  always.only_larger = false;
  ASSERT_EQ(Generate(dir_ / "out2", always), platform::kOk) << last_error_;
  EXPECT_FALSE(fs::exists(dir_ / "out2/small_one.png"));
  image::Image small;
  ASSERT_TRUE(small.Load(dir_ / "out2/small_one.jpg"));
  EXPECT_EQ(small.width(), 800);
  EXPECT_EQ(small.height(), 600);
}

TEST_F(GeneratorTest, RebuildAfterChangesEqualsAFullBuild) {
  // p3.jpg and p3.png are both re-encoded: the first keeps the plain name.
  AddPhoto("p3.jpg", 900, 700, image::ImageFormat::kJpeg);
  for (int i = 0; i < 14; ++i) {
    AddPhoto("p" + std::to_string(i) + ".png", 900, 700, image::ImageFormat::kPng);
  }
  ASSERT_EQ(Generate(dir_ / "out"), platform::kOk) << last_error_;
  EXPECT_EQ(ReadTextFile(dir_ / "out/p3_png.html").substr(0, 27), "Title of p3.png|p3_png.jpg ");
  EXPECT_EQ(ReadTextFile(dir_ / "out/p3.html").substr(0, 23), "Title of p3.jpg|p3.jpg ");
  album_->photos()[3].title = "New caption";
  album_->photos().erase(album_->photos().begin() + 12, album_->photos().end());
  WebAlbumGenerator rebuild(design_, dir_ / "out");
  ASSERT_EQ(rebuild.Generate(*album_, progress_), platform::kOk) << rebuild.last_error();
  EXPECT_EQ(rebuild.photos_written(), 0);
  EXPECT_EQ(rebuild.pages_written(), 1);  // the changed photo page
  EXPECT_FALSE(fs::exists(dir_ / "out/index1.html"));
  EXPECT_FALSE(fs::exists(dir_ / "out/p13.html"));
  ASSERT_EQ(Generate(dir_ / "fresh"), platform::kOk) << last_error_;
  EXPECT_EQ(Contents(dir_ / "out"), Contents(dir_ / "fresh"));

  // Without p3.jpg, p3.png takes the plain name: its files move, the old ones go.
  album_->photos().erase(album_->photos().begin());
  ASSERT_EQ(Generate(dir_ / "out"), platform::kOk) << last_error_;
  ASSERT_EQ(Generate(dir_ / "fresh1"), platform::kOk) << last_error_;
  EXPECT_EQ(Contents(dir_ / "out"), Contents(dir_ / "fresh1"));
  EXPECT_FALSE(fs::exists(dir_ / "out/p3_png.jpg"));

  // A changed setting is noticed: every photo is made again at the new size.
  WebAlbumOptions smaller;
  smaller.max_width = 300;
  WebAlbumGenerator resized(design_, dir_ / "out", smaller);
  ASSERT_EQ(resized.Generate(*album_, progress_), platform::kOk);
  EXPECT_EQ(resized.photos_written(), 11);
  ASSERT_EQ(Generate(dir_ / "fresh2", smaller), platform::kOk) << last_error_;
  EXPECT_EQ(Contents(dir_ / "out"), Contents(dir_ / "fresh2"));
}

TEST_F(GeneratorTest, CancelStopsWithTheCancelledCode) {
  for (int i = 0; i < 4; ++i)
    AddPhoto("p" + std::to_string(i) + ".png", 50, 50, image::ImageFormat::kPng);
  testing::RecordingProgress cancelling("Loading...");
  WebAlbumGenerator generator(design_, dir_ / "out");
  EXPECT_EQ(generator.Generate(*album_, cancelling), platform::kCancelled);
  EXPECT_FALSE(fs::exists(dir_ / "out/index.html"));
}

}  // namespace
}  // namespace quorvane::webalbum
