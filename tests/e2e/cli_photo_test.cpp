// What a person writes about photos (photo set), and moving and copying photos between albums.
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::RunCli;

class CliPhotoTest : public testing::CliTest {
 protected:
  // An album in the library holding one distinct copy of the test photo per name.
  std::string Album(const std::string& name, const std::vector<std::string>& photos) {
    const fs::path album = dir_ / "albums" / name;
    std::vector<std::string> args = {"album", "add", album.string()};
    for (const std::string& photo : photos) {
      const fs::path source = dir_ / "sources" / name / photo;
      testing::WriteTextFile(
          source,
          ReadTextFile(testing::TestDataPath("images/taken-2021-07-14.jpg")) + name + photo);
      args.push_back(source.string());
    }
    EXPECT_EQ(RunCli({"album", "create", album.string()}).exit_code, 0);
    const auto r = RunCli(args);
    EXPECT_EQ(r.exit_code, 0) << r.err;
    return album.string();
  }
  // The photo lines of "album show": one per photo, its description line folded in.
  static std::vector<std::string> PhotoLines(const std::string& album) {
    const auto r = RunCli({"album", "show", album});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    std::vector<std::string> lines;
    std::istringstream in(r.out);
    for (std::string line; std::getline(in, line);) {
      if (!line.empty() && std::isdigit(static_cast<unsigned char>(line[0]))) {
        lines.push_back(line.substr(line.find('\t') + 1));
      } else if (line.rfind("\tDescription: ", 0) == 0 && !lines.empty()) {
        lines.back() += " |" + line.substr(1);
      }
    }
    return lines;
  }
  static std::string Order(const std::string& album) {
    std::string order;
    for (const std::string& line : PhotoLines(album)) order += line.substr(0, line.find('.'));
    return order;
  }
  static void ExpectUsageError(const std::vector<std::string>& args) {
    const auto r = RunCli(args);
    EXPECT_EQ(r.exit_code, 2) << args[1] << " ... " << args.back() << ": " << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  }
};

TEST_F(CliPhotoTest, PhotoSetShowsInAlbumShowAndSearchFindsIt) {
  const std::string album = Album("trip", {"a.jpg", "b.jpg"});
  auto r = RunCli({"photo", "set", album, "2", "--caption", "Blue <whale>", "--keywords",
                   "sea, big", "--description", "calm & deep\nand cold", "--date", "2020-05-06"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(PhotoLines(album)[1],
            "b.jpg\tJPEG\t64x48\t2020-05-06\tBlue <whale>\tsea, big |Description: calm & deep "
            "and cold");
  // The library search reads the index with its own scanner, the album search the album.
  EXPECT_EQ(RunCli({"search", "WHALE"}).out, album + "\t1\tb.jpg\tBlue <whale>\n");
  EXPECT_EQ(RunCli({"search", "big", "--keywords"}).out, album + "\t1\tb.jpg\tBlue <whale>\n");
  EXPECT_EQ(RunCli({"search", "deep", "--description", "--album", album}).out,
            album + "\t1\tb.jpg\tBlue <whale>\n");

  // Only the fields given change; "none" takes the date away.
  r = RunCli({"photo", "set", album, "2", "--caption", "", "--date", "none"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(PhotoLines(album)[1],
            "b.jpg\tJPEG\t64x48\t-\t\tsea, big |Description: calm & deep "
            "and cold");
  EXPECT_EQ(RunCli({"search", "whale"}).out, "");
}

TEST_F(CliPhotoTest, PhotoSetRefusesWhatTheIndexCannotHoldAndChangesNothing) {
  const std::string album = Album("trip", {"a.jpg"});
  const std::string before = ReadTextFile(fs::path(album) / "index.quorvane");
  for (const char* option : {"--caption", "--keywords", "--description"}) {
    const auto r = RunCli({"photo", "set", album, "1", option, "Ma\xfftre"});
    EXPECT_EQ(r.exit_code, 1) << option;
    EXPECT_NE(r.err.find("cannot hold"), std::string::npos) << r.err;
  }
  EXPECT_EQ(ReadTextFile(fs::path(album) / "index.quorvane"), before);
}

TEST_F(CliPhotoTest, MovePutsThePhotosFromTheNumberGiven) {
  const std::string album = Album("trip", {"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
  ASSERT_EQ(RunCli({"album", "move", album, "2", "1", "--to", "3"}).exit_code, 0);
  EXPECT_EQ(Order(album), "cdab");
  ASSERT_EQ(RunCli({"album", "move", album, "4", "--to", "1"}).exit_code, 0);
  EXPECT_EQ(Order(album), "bcda");
  ASSERT_EQ(RunCli({"album", "move", album, "1", "--to", "4"}).exit_code, 0);
  EXPECT_EQ(Order(album), "cdab");
  ASSERT_EQ(RunCli({"album", "move", album, "2", "4", "--to", "2"}).exit_code, 0);
  EXPECT_EQ(Order(album), "cdba");

  // Two photos cannot start at the last place; a move needs its place.
  ExpectUsageError({"album", "move", album, "1", "2", "--to", "4"});
  ExpectUsageError({"album", "move", album, "1", "--to", "0"});
  ExpectUsageError({"album", "move", album, "1"});
  ExpectUsageError({"album", "move", album, "5", "--to", "1"});
  EXPECT_EQ(Order(album), "cdba");
}

TEST_F(CliPhotoTest, CopyBringsFileThumbnailAndFieldsUnderAFreeName) {
  const std::string from = Album("trip", {"a.jpg", "b.jpg"});
  ASSERT_EQ(
      RunCli({"photo", "set", from, "2", "--caption", "Whale", "--date", "2020-05-06"}).exit_code,
      0);
  const std::string to = Album("home", {"b.jpg"});
  const std::string from_index = ReadTextFile(fs::path(from) / "index.quorvane");

  auto r = RunCli({"album", "copy", from, "2", "1", to});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_NE(r.err.find("Copying \"a.jpg\" (image 1 of 2) ..."), std::string::npos) << r.err;
  const std::vector<std::string> lines = PhotoLines(to);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1], "a.jpg\tJPEG\t64x48\t2021-07-14\t\t");
  EXPECT_EQ(lines[2], "b-0.jpg\tJPEG\t64x48\t2020-05-06\tWhale\t");
  EXPECT_EQ(ReadTextFile(fs::path(to) / "b-0.jpg"), ReadTextFile(fs::path(from) / "b.jpg"));
  EXPECT_EQ(ReadTextFile(fs::path(to) / "_thumb_b-0.jpg"),
            ReadTextFile(fs::path(from) / "_thumb_b.jpg"));
  EXPECT_NE(ReadTextFile(fs::path(to) / "b.jpg"), ReadTextFile(fs::path(from) / "b.jpg"));
  EXPECT_EQ(ReadTextFile(fs::path(from) / "index.quorvane"), from_index);

  // Into an album archive, and from one.
  const std::string archive = (dir_ / "packed.qvo").string();
  ASSERT_EQ(RunCli({"album", "create", archive}).exit_code, 0);
  r = RunCli({"album", "copy", from, "2", archive});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  r = RunCli({"album", "copy", archive, "1", to});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(PhotoLines(to).back(), "b-1.jpg\tJPEG\t64x48\t2020-05-06\tWhale\t");

  ExpectUsageError({"album", "copy", from, "3", to});
  ExpectUsageError({"album", "copy", from, to});
}

// Each change a process makes survives the others made at the same time. (Photo 1 is the
// same photo before and after the move, so the caption has one place to go.)
TEST_F(CliPhotoTest, ChangesFromSeveralProgramsAtOnceAllSurvive) {
  const std::string other = Album("other", {"x.jpg"});
  for (int round = 0; round < 3; ++round) {
    const std::string album =
        Album("trip" + std::to_string(round), {"a.jpg", "b.jpg", "c.jpg", "d.jpg"});
    const auto results = testing::RunCliTogether({
        {"photo", "set", album, "1", "--caption", "First"},
        {"album", "move", album, "4", "--to", "2"},
        {"album", "copy", other, "1", album},
    });
    for (const auto& r : results) EXPECT_EQ(r.exit_code, 0) << r.err;
    EXPECT_EQ(Order(album), "adbcx") << "round " << round;
    EXPECT_NE(PhotoLines(album)[0].find("\tFirst\t"), std::string::npos)
        << ReadTextFile(fs::path(album) / "index.quorvane");
  }
}

}  // namespace
}  // namespace quorvane
