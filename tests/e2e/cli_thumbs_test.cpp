// quorvane-cli thumbs: a folder shown through the thumbnail cache from the command line.
#include <filesystem>

#include "cli_test_fixture.h"
#include "image/image.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

class CliThumbsTest : public testing::CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    fs::create_directories(photos_);
    for (const char* name : {"a.jpg", "b.png"}) {
      image::Image photo;
      ASSERT_TRUE(photo.Create(800, 600, false, {40, 90, 160, 255}));
      ASSERT_TRUE(photo.Save(
          photos_ / name, name[0] == 'a' ? image::ImageFormat::kJpeg : image::ImageFormat::kPng));
    }
    testing::WriteTextFile(photos_ / "broken.jpg", "no picture here");
    testing::WriteTextFile(photos_ / "notes.txt", "not an image");
  }

  fs::path photos_ = dir_ / "photos";
};

TEST_F(CliThumbsTest, MakesThenServesFromTheSettingsCacheAndWritesCells) {
  auto r = RunCli({"thumbs", photos_.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find("failed")), "made a.jpg\nmade b.png\n") << r.out;
  EXPECT_NE(r.out.find("\nfailed broken.jpg: "), std::string::npos) << r.out;
  EXPECT_NE(r.err.find("3 files: 0 cached, 2 made, 0 remade, 1 failed"), std::string::npos);
  EXPECT_TRUE(fs::is_regular_file(dir_ / "cache/Thumbnail/_index.xml"));
  EXPECT_TRUE(fs::is_regular_file(dir_ / "cache/Thumbnail/b.png"));

  r = RunCli({"thumbs", photos_.string(), "--out", (dir_ / "cells").string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find("failed")), "cached a.jpg\ncached b.png\n") << r.out;
  image::ImageInfo info;
  std::string error;
  ASSERT_TRUE(
      image::ReadImageInfo(dir_ / "cells/a.jpg.png", image::ImageFormat::kUnknown, &info, &error))
      << error;
  EXPECT_EQ(info.width, 120);
  EXPECT_EQ(info.height, 90);
  EXPECT_FALSE(fs::exists(dir_ / "cells/broken.jpg.png"));

  r = RunCli({"thumbs", photos_.string(), "--cell", "80x60", "--workers", "1"});
  EXPECT_EQ(r.out.substr(0, r.out.find("failed")), "remade a.jpg\nremade b.png\n") << r.out;
}

TEST_F(CliThumbsTest, UnreadableFolderExitsOne) {
  const auto r = RunCli({"thumbs", (dir_ / "missing").string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("Unable to read"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace quorvane
