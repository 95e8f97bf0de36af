#include <algorithm>
#include <filesystem>
#include <stdlib.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "testing/cli_runner.h"
#include "testing/temp_dir.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

// Every folder the CLI would find through the environment points into a fresh temporary
// folder, so no run sees the user's own settings or albums.
class CliLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Point("QUORVANE_CONFIG_DIR", dir_ / "config");
    Point("QUORVANE_LIBRARY_DIR", dir_ / "albums");
    Point("QUORVANE_THUMBNAIL_DIR", dir_ / "cache" / "Thumbnail");
    Point("QUORVANE_BROWSER_DIR", dir_ / "pictures");
  }
  void TearDown() override {
    for (const char* name : {"QUORVANE_CONFIG_DIR", "QUORVANE_LIBRARY_DIR",
                             "QUORVANE_THUMBNAIL_DIR", "QUORVANE_BROWSER_DIR"}) {
      ::unsetenv(name);
    }
  }
  static void Point(const char* name, const fs::path& path) { ::setenv(name, path.c_str(), 1); }
  std::string Library() const { return (dir_ / "albums").string(); }
  std::string Get(const std::string& key) {
    const auto r = RunCli({"settings", "get", key});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    return r.out;
  }

  testing::TempDir dir_;
};

TEST_F(CliLibraryTest, FirstRunShowsDefaultsAndCreatesTheFolders) {
  const auto r = RunCli({"settings", "show"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  for (const char* line : {"smtp.port=25\n", "pop3.port=110\n", "smtp.method=0\n",
                           "print.flags=5\n", "mapi.enable=0\n", "app.openalbumsorttype=\n"}) {
    EXPECT_NE(r.out.find(line), std::string::npos) << line << " in\n" << r.out;
  }
  EXPECT_NE(r.out.find("myphotoalbums.path=" + Library() + "\n"), std::string::npos);
  EXPECT_TRUE(fs::is_directory(dir_ / "albums"));
  EXPECT_TRUE(fs::is_directory(dir_ / "cache" / "Thumbnail"));
  EXPECT_TRUE(fs::is_directory(dir_ / "pictures"));
  EXPECT_EQ(r.err, "");
}

TEST_F(CliLibraryTest, SettingsSetKeepsValuesInAPrivateFile) {
  ASSERT_EQ(RunCli({"settings", "set", "smtp.method", "2"}).exit_code, 0);
  ASSERT_EQ(RunCli({"settings", "set", "options.greeting", "a=b\nc"}).exit_code, 0);
  EXPECT_EQ(Get("smtp.method"), "2\n");
  EXPECT_EQ(Get("options.greeting"), "a=b\nc\n");

  struct stat info {};
  ASSERT_EQ(::stat((dir_ / "config" / "settings.conf").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  auto r = RunCli({"settings", "set", "smtp.pass", "secret"});
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_NE(r.err.find("smtp.savepass"), std::string::npos) << r.err;
  EXPECT_EQ(Get("smtp.pass"), "\n");
  ASSERT_EQ(RunCli({"settings", "set", "smtp.savepass", "1"}).exit_code, 0);
  ASSERT_EQ(RunCli({"settings", "set", "smtp.pass", "secret"}).exit_code, 0);
  EXPECT_EQ(Get("smtp.pass"), "secret\n");
  r = RunCli({"settings", "show"});
  EXPECT_NE(r.out.find("smtp.pass=********\n"), std::string::npos);
  EXPECT_EQ(r.out.find("secret"), std::string::npos);
}

TEST_F(CliLibraryTest, FolderThatCannotBeCreatedIsReportedAndTheRunGoesOn) {
  testing::WriteTextFile(dir_ / "blocker", "");
  Point("QUORVANE_THUMBNAIL_DIR", dir_ / "blocker" / "Thumbnail");
  const auto r = RunCli({"settings", "get", "smtp.port"});
  EXPECT_EQ(r.exit_code, 0);
  EXPECT_EQ(r.out, "25\n");
  EXPECT_EQ(r.err, "quorvane-cli: Unable to create " + (dir_ / "blocker" / "Thumbnail").string() +
                       ": Not a directory\n");
}

TEST_F(CliLibraryTest, CreateListSortAndDelete) {
  auto r = RunCli({"library", "create", "Trip: 5/6", "--date", "2024-07-04"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, Library() + "/Trip_ 5_6\n");
  ASSERT_EQ(RunCli({"library", "create", "beach", "--date", "2025-01-02"}).exit_code, 0);
  r = RunCli({"library", "create", "Trip: 5/6"});
  EXPECT_EQ(r.out, Library() + "/Trip_ 5_6 (2)\n");
  fs::create_directories(dir_ / "albums" / "no index here");

  r = RunCli({"library", "list"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, "beach, January 2, 2025 (0 photos)\t" + Library() + "/beach\n" +
                       "Trip: 5/6, July 4, 2024 (0 photos)\t" + Library() + "/Trip_ 5_6\n" +
                       "Trip: 5/6 (0 photos)\t" + Library() + "/Trip_ 5_6 (2)\n");

  r = RunCli({"library", "list", "--sort", "1"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')),
            "beach, January 2, 2025 (0 photos)\t" + Library() + "/beach");
  EXPECT_EQ(Get("app.openalbumsorttype"), "1\n");
  EXPECT_EQ(RunCli({"library", "list"}).out, r.out);  // the order chosen last is kept

  r = RunCli({"library", "delete", "beach"});  // empty standard input answers no
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("Are you sure you want to delete the photo album \"beach\"?"),
            std::string::npos)
      << r.err;
  EXPECT_TRUE(fs::exists(dir_ / "albums" / "beach"));

  r = RunCli({"library", "delete", "Trip: 5/6", "--yes"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("more than one album"), std::string::npos) << r.err;
  EXPECT_EQ(RunCli({"library", "delete", "Trip_ 5_6 (2)", "--yes"}).exit_code, 0);
  EXPECT_EQ(RunCli({"library", "delete", "beach", "--yes"}).exit_code, 0);
  EXPECT_FALSE(fs::exists(dir_ / "albums" / "beach"));
  EXPECT_EQ(RunCli({"library", "list", "--library", Library()}).out,
            "Trip: 5/6, July 4, 2024 (0 photos)\t" + Library() + "/Trip_ 5_6\n");
}

TEST_F(CliLibraryTest, CreateFailureUsesTheAlbumMessage) {
  testing::WriteTextFile(dir_ / "file", "");
  const auto r = RunCli({"library", "create", "a|b", "--library", (dir_ / "file").string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err, "quorvane-cli: Unable to create album \"a|b\"\n");
}

TEST_F(CliLibraryTest, BadCommandLinesExitTwo) {
  const std::vector<std::vector<std::string>> bad = {
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
  };
  for (const auto& args : bad) {
    const auto r = RunCli(args);
    EXPECT_EQ(r.exit_code, 2) << args[0] << ' ' << (args.size() > 1 ? args[1] : "");
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  }
  EXPECT_EQ(Get("smtp.port"), "25\n");
}

}  // namespace
}  // namespace quorvane
