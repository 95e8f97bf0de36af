// quorvane-cli with image files other programs wrote, damaged ones and large ones: every command
// that reads pictures (album add, thumbs, edit, edit-file) judges a file alike, and an edit
// never writes a photo the program would refuse to open again.
#include <filesystem>
#include <string>

#include "cli_test_fixture.h"
#include "image/image.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using image::Image;
using testing::RunCli;

class CliImageFilesTest : public testing::CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    fs::create_directories(photos_);
    ASSERT_EQ(RunCli({"album", "create", album_.string()}).exit_code, 0);
  }

  // A photo-sized picture of noise, which JPEG cannot shrink much.
  static std::string NoiseJpeg(int width, int height) {
    Image picture;
    EXPECT_TRUE(picture.Create(width, height, false));
    uint32_t state = 12345;
    for (int y = 0; y < height; ++y) {
      uint8_t* row = picture.MutableRow(y);
      for (int i = 0; i < width * 3; ++i) {
        state = state * 1664525u + 1013904223u;
        row[i] = static_cast<uint8_t>(state >> 24);
      }
    }
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(picture.SaveToMemory(&bytes, image::ImageFormat::kJpeg));
    return std::string(bytes.begin(), bytes.end());
  }

  std::string AlbumShow() { return RunCli({"album", "show", album_.string()}).out; }

  fs::path photos_ = dir_ / "photos";
  fs::path album_ = dir_ / "album";
};

// Icon writers store the large pictures as PNG files inside the icon.
TEST_F(CliImageFilesTest, IconWithPngPicturesIsAddedShownAndEdited) {
  const fs::path icon = photos_ / "app.ico";
  fs::copy_file(testing::TestDataPath("regress/icon_png_entries.ico"), icon);

  auto r = RunCli({"album", "add", album_.string(), icon.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(AlbumShow().find("1\tapp.ico\tIcon\t256x256\t"), std::string::npos) << AlbumShow();
  r = RunCli({"thumbs", photos_.string()});
  EXPECT_EQ(r.out, "made app.ico\n");
  r = RunCli({"edit-file", icon.string(), (dir_ / "turned.png").string(), "rotate-right"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  Image turned;
  ASSERT_TRUE(turned.Load(dir_ / "turned.png")) << turned.last_error();
  EXPECT_EQ(turned.width(), 256);
}

// The first half of a photo: refused at the door with the decoder's reason, never a photo in the
// album that later commands refuse.
TEST_F(CliImageFilesTest, JpegCutInHalfIsRefusedByEveryCommand) {
  const std::string whole = NoiseJpeg(800, 600);
  const fs::path cut = photos_ / "cut.jpg";
  testing::WriteTextFile(cut, whole.substr(0, whole.size() / 2));
  const std::string reason = "Cannot read JPEG image \"" + cut.string() + "\": ";

  auto r = RunCli({"album", "add", album_.string(), cut.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("cut.jpg: " + reason), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("Premature end of input file"), std::string::npos) << r.err;
  EXPECT_NE(AlbumShow().find("Photos: 0\n"), std::string::npos) << AlbumShow();
  EXPECT_FALSE(fs::exists(album_ / "cut.jpg"));

  r = RunCli({"thumbs", photos_.string()});
  EXPECT_EQ(r.out.rfind("failed cut.jpg: Cannot read JPEG image", 0), 0u) << r.out;
  r = RunCli({"edit-file", cut.string(), (dir_ / "out.jpg").string(), "rotate-right"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
}

// A long strip turned by 45 degrees would need 12869 x 12869 pixels, more than the program
// opens: the edit is refused before the turned picture is made, and the photo stays as it was.
TEST_F(CliImageFilesTest, EditWhoseResultWouldBeTooLargeLeavesThePhoto) {
  Image strip;
  ASSERT_TRUE(strip.Create(18000, 200, false, {90, 120, 150, 255}));
  const fs::path photo = photos_ / "strip.jpg";
  ASSERT_TRUE(strip.Save(photo, image::ImageFormat::kJpeg));
  ASSERT_EQ(RunCli({"album", "add", album_.string(), photo.string()}).exit_code, 0);
  const std::string index = testing::ReadTextFile(album_ / "index.quorvane");
  const std::string stored = testing::ReadTextFile(album_ / "strip.jpg");
  const std::string too_large =
      "Cannot rotate the image: the result would be too large (12869 x 12869 pixels";

  auto r = RunCli({"edit", album_.string(), "rotate", "--angle", "45"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("strip.jpg: " + too_large), std::string::npos) << r.err;
  EXPECT_TRUE(testing::ReadTextFile(album_ / "strip.jpg") == stored) << "the photo changed";
  EXPECT_EQ(testing::ReadTextFile(album_ / "index.quorvane"), index);

  const fs::path out = dir_ / "turned.jpg";
  r = RunCli({"edit-file", photo.string(), out.string(), "rotate", "--angle", "45"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find(too_large), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(out));
}

}  // namespace
}  // namespace quorvane
