#include <algorithm>
#include <filesystem>
#include <sstream>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;
using testing::WriteTextFile;

const std::string kSep(1, static_cast<char>(fs::path::preferred_separator));

// A library of two albums written as the program writes them.
class CliSearchTest : public testing::CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    Album("trip",
          "<Quorvane Version=\"1.0\" Title=\"Trip\">"
          "<Image ImageFile=\"a.jpg\" Title=\"Sunset\" Keywords=\"beach;Sun, sea\">"
          "</Image><Image ImageFile=\"gone.jpg\" Title=\"Sun gone\"></Image>"
          "<Image ImageFile=\"b.jpg\" Title=\"Église\">By the sea</Image>"
          "</Quorvane>");
    Album("home",
          "<Quorvane Version=\"1.0\" Title=\"Home\">"
          "<Image ImageFile=\"c.jpg\" Keywords=\"sunny\">Sunday&#039;s lunch</Image>"
          "</Quorvane>");
  }

  void Album(const std::string& folder, const std::string& index) {
    WriteTextFile(dir_ / "albums" / folder / "index.quorvane", index);
    for (const char* photo : {"a.jpg", "b.jpg", "c.jpg"}) {
      WriteTextFile(dir_ / "albums" / folder / photo, "");
    }
  }
  std::string Path(const std::string& folder) const { return (dir_ / "albums" / folder).string(); }

  static std::string Sorted(const std::string& lines) {
    std::vector<std::string> all;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) all.push_back(line + "\n");
    std::sort(all.begin(), all.end());
    std::string out;
    for (const std::string& line : all) out += line;
    return out;
  }
};

TEST_F(CliSearchTest, SearchesTheLibraryAndKeepsTheResults) {
  auto r = RunCli({"search", "SUN"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // The photo whose file is gone is not in the opened album, so "Église" is photo 1.
  EXPECT_EQ(Sorted(r.out), Path("home") + "\t0\tc.jpg\t\n" + Path("trip") + "\t0\ta.jpg\tSunset\n");

  r = RunCli({"search", "sun", "--keywords"});
  EXPECT_EQ(r.out, Path("trip") + "\t0\ta.jpg\tSunset\n");
  EXPECT_FALSE(fs::exists(dir_ / "data" / "searchresults.xml"));  // kept only when asked
  r = RunCli({"search", "ÉGLISE", "--title", "--library", (dir_ / "albums").string(), "--keep"});
  EXPECT_EQ(r.out, Path("trip") + "\t1\tb.jpg\tÉglise\n");

  r = RunCli({"search", "--saved"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "Église\t" + Path("trip") + kSep + "1\n");
  EXPECT_TRUE(fs::is_regular_file(dir_ / "data" / "searchresults.xml"));

  r = RunCli({"search", "nothing like it", "--keep"});
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(RunCli({"search", "--saved"}).out, "");
}

TEST_F(CliSearchTest, SearchesGivenAlbumsInTheirOrder) {
  auto r = RunCli({"search", "sun", "--description", "--title", "--album", Path("trip"), "--album",
                   Path("home")});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, Path("trip") + "\t0\ta.jpg\tSunset\n" + Path("home") + "\t0\tc.jpg\t\n");

  // An album archive is searched as its folder is.
  const std::string archive = (dir_ / "trip.qvo").string();
  ASSERT_EQ(RunCli({"archive", "pack", Path("trip"), archive}).exit_code, 0);
  r = RunCli({"search", "sun", "--title", "--album", archive});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, archive + "\t0\ta.jpg\tSunset\n");

  r = RunCli({"search", "sun", "--album", Path("missing")});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.out, "");
}

// Earlier versions kept both files beside the thumbnail cache.
TEST_F(CliSearchTest, FilesOfTheOldFolderMoveToTheDataFolderOnce) {
  ASSERT_EQ(RunCli({"search", "église", "--keep"}).exit_code, 0);
  fs::rename(dir_ / "data" / "searchresults.xml", dir_ / "cache" / "searchresults.xml");
  WriteTextFile(dir_ / "cache" / "photo-presence.cache", "cache bytes");

  auto r = RunCli({"search", "--saved"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "Église\t" + Path("trip") + kSep + "1\n");
  EXPECT_EQ(testing::ReadTextFile(dir_ / "data" / "photo-presence.cache"), "cache bytes");
  for (const char* name : {"searchresults.xml", "photo-presence.cache"}) {
    EXPECT_TRUE(fs::is_regular_file(dir_ / "data" / name)) << name;
    EXPECT_FALSE(fs::exists(dir_ / "cache" / name)) << name;
  }

  // A file left at the old place later is older than the one in use: it stays unread.
  WriteTextFile(dir_ / "cache" / "searchresults.xml", "<SearchResults/>");
  EXPECT_EQ(RunCli({"search", "--saved"}).out, r.out);
  EXPECT_TRUE(fs::exists(dir_ / "cache" / "searchresults.xml"));
}

TEST_F(CliSearchTest, DamagedResultsFileAndMissingLibrary) {
  WriteTextFile(dir_ / "data" / "searchresults.xml", "<SearchResults><Result Count=\"x\"");
  auto r = RunCli({"search", "--saved"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("malformed results file"), std::string::npos) << r.err;

  // Usage errors are in the table of every command's; a library that is not there is not one.
  EXPECT_EQ(RunCli({"search", "a", "--library", (dir_ / "none").string()}).exit_code, 1);
}

}  // namespace
}  // namespace quorvane
