#include <filesystem>
#include <string>
#include <vector>

#include "cli_test_fixture.h"
#include "image/image.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::RunCli;
using testing::WriteTextFile;

class CliWebTest : public testing::CliTest {
 protected:
  // An album of `count` photos of `width` x `height`, made through the command line.
  std::string MakeAlbum(int count, int width = 640, int height = 480) {
    const fs::path album = dir_ / "album";
    std::vector<std::string> add = {"album", "add", album.string()};
    for (int i = 0; i < count; ++i) {
      image::Image picture;
      EXPECT_TRUE(picture.Create(width, height, false, {20, 120, static_cast<uint8_t>(i), 255}));
      const fs::path file = dir_ / "photos" / ("photo " + std::to_string(i + 10) + ".jpg");
      fs::create_directories(file.parent_path());
      EXPECT_TRUE(picture.Save(file, image::ImageFormat::kJpeg));
      add.push_back(file.string());
    }
    const auto created = RunCli({"album", "create", album.string(), "--title", "Trip"});
    EXPECT_EQ(created.exit_code, 0) << created.err;
    const auto added = RunCli(add);
    EXPECT_EQ(added.exit_code, 0) << added.err;
    return album.string();
  }
  // A design of its own: one index page element with `slots` photo slots.
  std::string MakeDesign(int slots) {
    std::string text =
        "<PhotoAlbumTemplate Name=\"Mine\"><UserVar Tag=\"Who\" Required=\"true\" "
        "Description=\"Your name\"/><IndexPage><Header>{Who}:</Header>";
    for (int i = 0; i < slots; ++i) text += "<Image>[{ImageNum}]</Image>";
    text +=
        "</IndexPage><PhotoDetailPage><Image>{ImageFileName}</Image></PhotoDetailPage>"
        "</PhotoAlbumTemplate>";
    WriteTextFile(dir_ / "mine/mine.qvotmpl", text);
    return (dir_ / "mine").string();
  }
};

TEST_F(CliWebTest, TemplatesListsTheInstalledDesigns) {
  const auto r = RunCli({"web", "templates"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  for (const char* name : {"Classic\t", "Modern\t", "Dark\t"}) {
    EXPECT_NE(r.out.find(name), std::string::npos) << r.out;
  }
  // A design the user installs in the data folder is listed too.
  WriteTextFile(dir_ / "data/Templates/own/own.qvotmpl", "<PhotoAlbumTemplate Name=\"Own\"/>");
  EXPECT_NE(RunCli({"web", "templates"}).out.find("Own\t" + (dir_ / "data/Templates/own").string()),
            std::string::npos);
}

TEST_F(CliWebTest, BuildWritesPagesPhotosAndThumbnails) {
  const std::string album = MakeAlbum(25);
  const fs::path out = dir_ / "web";
  const auto r = RunCli(
      {"web", "build", album, out.string(), "--template", MakeDesign(12), "--var", "Who=Ann"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(r.err.find("Album creation finished."), std::string::npos);
  EXPECT_EQ(ReadTextFile(out / "index2.html"), "Ann:[25]");
  EXPECT_FALSE(fs::exists(out / "index3.html"));
  // 640 x 480 fits 800 x 600: a byte copy under its own name.
  EXPECT_EQ(ReadTextFile(out / "photo_10.jpg"), ReadTextFile(dir_ / "photos/photo 10.jpg"));
  EXPECT_EQ(ReadTextFile(out / "photo_34.html"), "photo_34.jpg");
  image::Image thumb;
  ASSERT_TRUE(thumb.Load(out / "photo_10-thumb.jpg"));
  EXPECT_EQ(thumb.width(), 100);
  EXPECT_EQ(thumb.height(), 75);

  const auto small =
      RunCli({"web", "build", album, (dir_ / "small").string(), "--template", MakeDesign(30),
              "--var", "Who=B", "--size", "320x200", "--no-keep-aspect", "--no-photo-pages"});
  ASSERT_EQ(small.exit_code, 0) << small.err;
  image::Image photo;
  ASSERT_TRUE(photo.Load(dir_ / "small/photo_10.jpg"));
  EXPECT_EQ(photo.width(), 320);
  EXPECT_EQ(photo.height(), 200);
  EXPECT_FALSE(fs::exists(dir_ / "small/photo_10.html"));

  // Photos without private data stay exact copies when private data is stripped.
  const auto strip = RunCli({"web", "build", album, (dir_ / "strip").string(), "--template",
                             MakeDesign(30), "--var", "Who=C", "--strip-private"});
  ASSERT_EQ(strip.exit_code, 0) << strip.err;
  EXPECT_EQ(ReadTextFile(dir_ / "strip/photo_10.jpg"), ReadTextFile(dir_ / "photos/photo 10.jpg"));
}

// An archive publishes as its folder does; the other designs go through the browser test.
TEST_F(CliWebTest, ArchiveBuildsLikeItsFolder) {
  const std::string album = MakeAlbum(3, 1200, 900);
  const std::string archive = (dir_ / "album.qvo").string();
  const auto packed = RunCli({"archive", "pack", album, archive});
  ASSERT_EQ(packed.exit_code, 0) << packed.err;
  for (const auto& [source, out] : {std::pair(album, "folder"), std::pair(archive, "archive")}) {
    const auto r = RunCli({"web", "build", source, (dir_ / out).string(), "--template", "classic"});
    ASSERT_EQ(r.exit_code, 0) << source << ": " << r.err;
  }
  for (const char* name :
       {"index.html", "photo_12.html", "photo_12.jpg", "photo_11-thumb.jpg", "classic.css"}) {
    EXPECT_TRUE(fs::exists(dir_ / "archive" / name)) << name;
    EXPECT_EQ(ReadTextFile(dir_ / "folder" / name), ReadTextFile(dir_ / "archive" / name)) << name;
  }
  EXPECT_FALSE(fs::exists(dir_ / "archive/preview.png"));
  // Without --template, the design used last.
  const auto again = RunCli({"web", "build", archive, (dir_ / "again").string()});
  ASSERT_EQ(again.exit_code, 0) << again.err;
  EXPECT_TRUE(fs::exists(dir_ / "again/classic.css"));
}

TEST_F(CliWebTest, FailuresExitWithOneAndTheirMessage) {
  const std::string album = MakeAlbum(1);
  WriteTextFile(dir_ / "file", "x");
  const std::string design = MakeDesign(4);
  auto r = RunCli(
      {"web", "build", album, (dir_ / "file").string(), "--template", design, "--var", "Who=x"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("The selected path is not a folder."), std::string::npos) << r.err;
  r = RunCli({"web", "build", album, (dir_ / "file/sub").string(), "--template", design, "--var",
              "Who=x"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("\n\nUnable to create the requested folder."), std::string::npos) << r.err;
  WriteTextFile(dir_ / "bare/bare.qvotmpl", "<PhotoAlbumTemplate/>");
  r = RunCli({"web", "build", album, (dir_ / "o").string(), "--template",
              (dir_ / "bare/bare.qvotmpl").string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("Processing failed"), std::string::npos) << r.err;
  r = RunCli({"web", "build", album, (dir_ / "o").string(), "--template", "No such design"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("Error: File not found.\n\nFile: No such design"), std::string::npos);
}

TEST_F(CliWebTest, WrongCommandLinesExitWithTwo) {
  const std::string album = MakeAlbum(1);
  const std::string design = MakeDesign(4);
  const std::string out = (dir_ / "o").string();
  const std::vector<std::vector<std::string>> wrong = {
      {"web"},
      {"web", "build", album},
      {"web", "build", album, out, "--template", design, "--var", "Who=x", "--size", "800"},
      {"web", "build", album, out, "--template", design, "--var", "Who=x", "--size", "8x6",
       "--no-resize"},
      {"web", "build", album, out, "--template", design, "--var", "Who=x", "--always",
       "--only-larger"},
      {"web", "build", album, out, "--template", design, "--var", "Nobody=x"},
      {"web", "build", album, out, "--template", design, "--var", "=x"},
  };
  for (const auto& args : wrong) {
    const auto r = RunCli(args);
    EXPECT_EQ(r.exit_code, 2) << args.size() << ": " << r.err;
  }
  // A required variable left empty.
  const auto r = RunCli({"web", "build", album, out, "--template", design});
  EXPECT_EQ(r.exit_code, 2);
  EXPECT_NE(r.err.find("Please fill in a value for \"Your name\""), std::string::npos) << r.err;
  EXPECT_FALSE(fs::exists(dir_ / "o"));
}

}  // namespace
}  // namespace quorvane
