#include <filesystem>

#include "cli_test_fixture.h"

namespace quorvane {
namespace {

namespace fs = std::filesystem;
using testing::RunCli;

class CliLibraryTest : public testing::CliTest {
 protected:
  std::string Library() const { return (dir_ / "albums").string(); }
  std::string Get(const std::string& key) {
    const auto r = RunCli({"settings", "get", key});
    EXPECT_EQ(r.exit_code, 0) << r.err;
    return r.out;
  }
};

TEST_F(CliLibraryTest, SettingsShowSetAndGet) {
  auto r = RunCli({"settings", "show"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("smtp.port=25\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("myphotoalbums.path=" + Library() + "\n"), std::string::npos) << r.out;

  ASSERT_EQ(RunCli({"settings", "set", "options.greeting", "a=b\nc"}).exit_code, 0);
  EXPECT_EQ(Get("options.greeting"), "a=b\nc\n");
  EXPECT_TRUE(fs::is_regular_file(dir_ / "config" / "settings.conf"));

  r = RunCli({"settings", "set", "smtp.pass", "secret"});
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

TEST_F(CliLibraryTest, LibraryCreateListSortAndDelete) {
  auto r = RunCli({"library", "create", "Trip: 5/6", "--date", "2024-07-04"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, Library() + "/Trip_ 5_6\n");
  ASSERT_EQ(RunCli({"library", "create", "beach", "--date", "2025-01-02"}).exit_code, 0);
  ASSERT_EQ(RunCli({"library", "create", "Trip: 5/6"}).exit_code, 0);
  fs::create_directories(dir_ / "albums" / "no index here");

  const std::string beach = "beach, January 2, 2025 (0 photos)\t" + Library() + "/beach\n";
  const std::string trip = "Trip: 5/6, July 4, 2024 (0 photos)\t" + Library() + "/Trip_ 5_6\n";
  const std::string undated = "Trip: 5/6 (0 photos)\t" + Library() + "/Trip_ 5_6 (2)\n";
  EXPECT_EQ(RunCli({"library", "list"}).out, beach + trip + undated);
  r = RunCli({"library", "list", "--sort", "2"});
  ASSERT_EQ(r.exit_code, 0) << r.err;
  EXPECT_EQ(r.out, undated + trip + beach);
  EXPECT_EQ(Get("app.openalbumsorttype"), "2\n");
  EXPECT_EQ(RunCli({"library", "list"}).out, r.out);  // the order chosen last is kept

  r = RunCli({"library", "delete", "beach"});  // empty standard input answers no
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("Are you sure you want to delete the photo album \"beach\"?"),
            std::string::npos)
      << r.err;
  r = RunCli({"library", "delete", "Trip: 5/6", "--yes"});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("more than one album"), std::string::npos) << r.err;
  EXPECT_EQ(RunCli({"library", "delete", "Trip_ 5_6 (2)", "--yes"}).exit_code, 0);
  EXPECT_EQ(RunCli({"library", "delete", "beach", "--yes"}).exit_code, 0);
  EXPECT_EQ(RunCli({"library", "list", "--library", Library()}).out, trip);

  testing::WriteTextFile(dir_ / "file", "");
  r = RunCli({"library", "create", "a|b", "--library", (dir_ / "file").string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_EQ(r.err, "quorvane-cli: Unable to create album \"a|b\"\n");
}

}  // namespace
}  // namespace quorvane
