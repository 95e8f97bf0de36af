// quorvane-cli edit and edit-file end to end: an album edit on chosen photos with its progress
// and saved result, the photo window's edits on a file (selection, crop, a value option), usage
// errors, and --help naming every operation of the edit command table.
#include <filesystem>
#include <string>

#include "cli_test_fixture.h"
#include "image/image.h"
#include "imaging/edit_commands.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using image::Image;
using image::Rgba;
using testing::RunCli;

class CliEditTest : public testing::CliTest {
 protected:
  std::string Flat(const std::string& name, uint8_t level, int width = 40, int height = 30) {
    Image image;
    EXPECT_TRUE(image.Create(width, height, false, Rgba{level, level, level, 255}));
    const fs::path path = dir_ / name;
    EXPECT_TRUE(image.Save(path, image::ImageFormat::kPng));
    return path.string();
  }

  static Rgba PixelOf(const fs::path& path, int x, int y) {
    Image image;
    EXPECT_TRUE(image.Load(path)) << image.last_error();
    return image.GetPixel(x, y);
  }
};

TEST_F(CliEditTest, EditsTheChosenPhotosOfAnAlbumAndSaves) {
  const std::string album = (dir_ / "trip").string();
  ASSERT_EQ(RunCli({"album", "create", album}).exit_code, 0);
  EXPECT_EQ(RunCli({"edit", album, "lighten"}).exit_code, 0);  // no photos, nothing to do
  ASSERT_EQ(
      RunCli({"album", "add", album, Flat("a.png", 100), Flat("b.png", 100), Flat("c.png", 100)})
          .exit_code,
      0);
  const auto r = RunCli({"edit", album, "darken", "--photos", "1,3"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err,
            "Darkening...\n"
            "  Darken a.png (image 1 of 2) ...\n"
            "  Darken c.png (image 2 of 2) ...\n");
  EXPECT_EQ(PixelOf(dir_ / "trip" / "a.png", 3, 3).r, 80);
  EXPECT_EQ(PixelOf(dir_ / "trip" / "b.png", 3, 3).r, 100);
  EXPECT_EQ(PixelOf(dir_ / "trip" / "c.png", 3, 3).r, 80);
  // Only the photos and their thumbnails remain: the kept versions went with the history.
  size_t files = 0;
  for (const auto& entry : fs::directory_iterator(dir_ / "trip")) files += entry.is_regular_file();
  EXPECT_EQ(files, 7u);  // three photos, three thumbnails, the index

  // A rotation on all photos changes the recorded sizes.
  ASSERT_EQ(RunCli({"edit", album, "rotate-right"}).exit_code, 0);
  const auto shown = RunCli({"album", "show", album});
  EXPECT_NE(shown.out.find("30x40"), std::string::npos) << shown.out;
}

TEST_F(CliEditTest, EditsAFileWithinASelection) {
  const std::string in = Flat("in.png", 100);
  const fs::path out = dir_ / "out.png";
  auto r = RunCli({"edit-file", in, out.string(), "lighten", "--select", "rect", "5,5,10,10"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "Lightening...\n");
  EXPECT_EQ(PixelOf(out, 5, 5).r, 120);
  EXPECT_EQ(PixelOf(out, 9, 9).r, 120);
  EXPECT_EQ(PixelOf(out, 10, 10).r, 100);

  r = RunCli({"edit-file", in, out.string(), "crop", "--select", "ellipse", "5,5,25,15"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  Image cropped;
  ASSERT_TRUE(cropped.Load(out));
  EXPECT_EQ(cropped.width(), 20);
  EXPECT_EQ(cropped.height(), 10);

  EXPECT_EQ(RunCli({"edit-file", (dir_ / "missing.png").string(), out.string(), "blur"}).exit_code,
            1);
}

// The filters' arithmetic is tested with the filters; here, that a value option reaches the
// filter: 255 * (100 / 255) ^ (1 / 2) = 159.7.
TEST_F(CliEditTest, GammaOptionReachesTheFilter) {
  const fs::path out = dir_ / "g.png";
  ASSERT_EQ(
      RunCli({"edit-file", Flat("in.png", 100), out.string(), "gamma", "--gamma", "2"}).exit_code,
      0);
  EXPECT_EQ(PixelOf(out, 0, 0).r, 160);
}

TEST_F(CliEditTest, HelpListsTheCommandsAndEveryOperationOfTheTable) {
  const auto r = RunCli({"--help"});
  ASSERT_EQ(r.exit_code, 0);
  EXPECT_NE(r.out.find("quorvane-cli album show <folder|file.qvo>"), std::string::npos);
  EXPECT_NE(r.out.find("quorvane-cli xml check <file>"), std::string::npos);
  for (const imaging::EditCommand& command : imaging::kEditCommands) {
    EXPECT_NE(r.out.find("\n  " + std::string(command.name) + " "), std::string::npos)
        << command.name;
    EXPECT_NE(r.out.find(std::string(command.progress_text)), std::string::npos);
  }
}

}  // namespace
}  // namespace quorvane
