#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

class CliAlbumTest : public testing::CliTest {
 protected:
  std::string Fixture(std::string_view name) {
    const fs::path target = dir_ / name;
    fs::copy(testing::TestDataPath("albums") / name, target, fs::copy_options::recursive);
    return target.string();
  }
};

TEST_F(CliAlbumTest, ShowsAHandWrittenTarnwellAlbum) {
  const auto r = RunCli({"album", "show", Fixture("tarnwell")});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out,
            "Title: Old & Gold\n"
            "Date: 2003-07-14\n"
            "Description: A trip to the coast.\n"
            "Version: 1.0\n"
            "Variable: Photographer=Ann 'Ace' Lee\n"
            "Photos: 2\n"
            "1\tbeach.jpg\tJPEG\t640x480\t2003-07-14\tThe beach\tsea, sand\n"
            "2\tsunset.png\tPNG\t0x0\t-\tSunset\t\n");
  EXPECT_EQ(r.err, "");
  // Photo fields are printed decoded; a raw "&" in a file name as it stands.
  EXPECT_NE(RunCli({"album", "show", Fixture("ampersand")})
                .out.find("1\trock&roll.jpg\tJPEG\t800x600\t-\t<live> & loud\t\n"),
            std::string::npos);
}

TEST_F(CliAlbumTest, SetChangesFieldsAndShowReadsThemBack) {
  const std::string album = Fixture("tarnwell");
  auto r = RunCli({"album", "set", album, "--title", "New <title>", "--date", "2024-02-29",
                   "--description", "d & e", "--var", "Photographer=Bo", "--var", "Extra=x=y"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "show", album});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(r.out.find("Title: New <title>\nDate: 2024-02-29\nDescription: d & e\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("Variable: Photographer=Bo\nVariable: Extra=x=y\n"), std::string::npos);
  r = RunCli({"album", "set", album, "--date", "none"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(RunCli({"album", "show", album}).out.find("Date: -\n"), std::string::npos);
}

// Usage errors of every command: exit code 2, one line on stderr, and nothing written.
TEST_F(CliAlbumTest, BadCommandLinesExitTwoWithOneLineAndWriteNothing) {
  const std::string album = Fixture("tarnwell");  // two photos
  const std::string before = testing::ReadTextFile(fs::path(album) / "index.quorvane");
  const std::vector<std::vector<std::string>> bad = {
      {"album"},
      {"album", "show"},
      {"album", "explode", album},
      {"album", "set", album, "--date", "2024-13-01"},
      {"album", "set", album, "--var", "novalue"},
      {"album", "set", album, "--bogus", "x"},
      {"album", "set", album, "--title"},
      {"nonsense"},
      {"xml", "check", "a", "b"},
      {"xml", "check", "a", "--flags", "300"},
      {"library"},
      {"library", "list", "--sort", "4"},
      {"library", "list", "extra"},
      {"library", "create"},
      {"library", "create", "x", "--date", "someday"},
      {"library", "delete", "x", "--force"},
      {"settings"},
      {"settings", "get"},
      {"settings", "get", "smtp.colour"},
      {"settings", "set", "smtp.port"},
      {"settings", "set", "smtp.port", "twenty-five"},
      {"edit", album, "unsharp-mask"},  // not offered on albums
      {"edit", album, "resize"},        // needs --size
      {"edit", album, "lighten", "--photos", "3"},
      {"edit-file", "in.png", "out.png", "posterize"},
      {"edit-file", "in.png", "out.png", "crop", "--select", "oval", "1,1,2,2"},
      {"thumbs"},
      {"thumbs", album, "--cell", "120"},
      {"thumbs", album, "--cell", "2x90"},
      {"thumbs", album, "--workers", "0"},
      {"search"},
      {"search", "a", "--library", "x", "--album", "y"},
      {"search", "--saved", "extra"},
      {"search", "a", "b"},
  };
  for (const auto& args : bad) {
    const auto r = RunCli(args);
    EXPECT_EQ(r.exit_code, 2) << args[0] << " ... " << args.back();
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.err.rfind("quorvane-cli: ", 0), 0u) << r.err;
  }
  EXPECT_EQ(testing::ReadTextFile(fs::path(album) / "index.quorvane"), before);
  EXPECT_EQ(RunCli({"settings", "get", "smtp.port"}).out, "25\n");
}

TEST_F(CliAlbumTest, FailedLoadPrintsTheAlbumsErrorAndExitsOne) {
  const fs::path broken = dir_ / "broken";
  testing::WriteTextFile(broken / "index.quorvane", "<!-- not an album -->");
  auto r = RunCli({"album", "show", broken.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err, "quorvane-cli: Unable to load album index; malformed index file.\n");
  r = RunCli({"album", "set", (dir_ / "nowhere").string(), "--title", "x"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("No such file or directory"), std::string::npos) << r.err;
}

// A photo's life on the command line: into a new album (progress on stderr), out again at a
// smaller size, and removed with its files; the same for an album archive.
TEST_F(CliAlbumTest, CreateAddExportRemove) {
  const fs::path album = dir_ / "trip";
  ASSERT_EQ(RunCli({"album", "create", album.string(), "--title", "Trip"}).exit_code, 0);
  EXPECT_EQ(RunCli({"album", "create", album.string()}).exit_code, 1);  // not over an album

  const fs::path photo = dir_ / "sea~side.jpg";
  fs::copy_file(testing::TestDataPath("images/taken-2021-07-14.jpg"), photo);
  auto r = RunCli({"album", "add", album.string(), photo.string(), "--cell", "34x34"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err,
            "Adding \"sea~side.jpg\" (image 1 of 1) ...\n"
            "  Loading image from disk...\n"
            "  Creating thumbnail...\n"
            "  Adding image to album...\n");
  r = RunCli({"album", "show", album.string()});
  EXPECT_NE(r.out.find("Title: Trip\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("1\tsea-side.jpg\tJPEG\t64x48\t2021-07-14\t"), std::string::npos) << r.out;

  const fs::path out = dir_ / "out";
  fs::create_directories(out);
  r = RunCli({"album", "export", album.string(), "1", out.string(), "--fit", "32x32"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_TRUE(fs::file_size(out / "sea-side.jpg") > 0);
  r = RunCli({"album", "export", album.string(), "1", out.string()});
  EXPECT_EQ(r.exit_code, 1);  // never over an existing file
  EXPECT_NE(r.err.find("already exists"), std::string::npos) << r.err;
  EXPECT_EQ(RunCli({"album", "export", album.string(), "2", out.string()}).exit_code, 2);

  r = RunCli({"album", "remove", album.string(), "1"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "Deleting sea-side.jpg (image 1 of 1) ...\n");
  EXPECT_FALSE(fs::exists(album / "sea-side.jpg"));  // the saved album no longer names it

  const fs::path archive = dir_ / "trip.qvo";
  ASSERT_EQ(RunCli({"album", "create", archive.string(), "--title", "Packed"}).exit_code, 0);
  r = RunCli({"album", "add", archive.string(), photo.string(), photo.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "show", archive.string()});
  EXPECT_NE(r.out.find("Title: Packed\nDate: -\nDescription: \nVersion: 1.0\nPhotos: 2\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("2\tsea-side-0.jpg\t"), std::string::npos) << r.out;
}

TEST_F(CliAlbumTest, XmlCheckWritesTheDocumentBack) {
  const fs::path file = dir_ / "doc.xml";
  testing::WriteTextFile(file, "<?xml version='1.0'?><A b=1>x<!-- c --></A><B/>");
  auto r = RunCli({"xml", "check", file.string()});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "<A b=\"1\">x< c ></A><B />");
  r = RunCli({"xml", "check", file.string(), "--flags", "4"});
  EXPECT_EQ(r.out, "<a b=\"1\">x< c ></a><b />");
  r = RunCli({"xml", "check", (dir_ / "missing.xml").string()});
  EXPECT_EQ(r.exit_code, 1);
}

}  // namespace
}  // namespace quorvane
