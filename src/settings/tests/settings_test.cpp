#include "settings/settings.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "settings/file_backend.h"
#include "testing/temp_dir.h"

namespace quorvane::settings {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::ReadTextFile;
using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

Environment FakeEnvironment(std::map<std::string, std::string> variables) {
  return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
    auto found = variables.find(std::string(name));
    if (found == variables.end()) return std::nullopt;
    return found->second;
  };
}

class SettingsTest : public ::testing::Test {
 protected:
  UserFolders Folders() const {
    return {temp_ / "config", temp_ / "library", temp_ / "cache" / "Quorvane" / "Thumbnail",
            temp_ / "pictures"};
  }
  fs::path SettingsFile() const { return temp_ / "config" / "settings.conf"; }
  Settings Load() {
    FileBackend backend(SettingsFile());
    problems_.clear();
    return LoadSettings(backend, DefaultSettings(Folders()), &problems_);
  }
  void Save(const Settings& settings) {
    FileBackend backend(SettingsFile());
    ASSERT_TRUE(SaveSettings(backend, settings)) << backend.LastError();
  }

  TempDir temp_;
  std::vector<std::string> problems_;
};

TEST_F(SettingsTest, EmptyStoreStartsWithTheTableDefaults) {
  const Settings settings = Load();
  EXPECT_EQ(settings.smtp_port, 25);
  EXPECT_EQ(settings.pop3_port, 110);
  EXPECT_EQ(settings.smtp_method, kSmtpAuthNone);
  EXPECT_EQ(settings.print_flags, 5);
  EXPECT_FALSE(settings.mapi_enable);
  EXPECT_FALSE(settings.app_openalbumsorttype.has_value());
  EXPECT_EQ(settings.myphotoalbums_path, (temp_ / "library").string());
  EXPECT_TRUE(problems_.empty());
}

TEST_F(SettingsTest, DamagedStoreLeavesAllDefaults) {
  WriteTextFile(SettingsFile(), std::string("\x00\x01[Main\nsmtp.port=\"25\n\xFF", 20));
  const Settings settings = Load();
  EXPECT_EQ(settings.smtp_port, 25);
  EXPECT_EQ(settings.smtp_server, "");
}

TEST_F(SettingsTest, StoredMethodTwoSelectsAuthLogin) {
  WriteTextFile(SettingsFile(), "[Main]\nsmtp.method=2\n");
  EXPECT_EQ(Load().smtp_method, kSmtpAuthLogin);
}

TEST_F(SettingsTest, ValueOfTheWrongTypeKeepsItsDefault) {
  WriteTextFile(SettingsFile(),
                "[Main]\nsmtp.port=\"587\"\nmapi.enable=\"1\"\nsmtp.server=7\n"
                "app.openalbumsorttype=\"2\"\npop3.port=995\n");
  const Settings settings = Load();
  EXPECT_EQ(settings.smtp_port, 25);
  EXPECT_FALSE(settings.mapi_enable);
  EXPECT_EQ(settings.smtp_server, "");
  EXPECT_FALSE(settings.app_openalbumsorttype.has_value());
  EXPECT_EQ(settings.pop3_port, 995);  // the one well-typed value still counts
}

TEST_F(SettingsTest, EveryKeyAndTheOptionsRoundTrip) {
  Settings saved = DefaultSettings(Folders());
  int32_t n = 1000;
  for (const SettingKey& key : SettingKeys()) {
    std::string error;
    // Folder keys get folders inside the test's own: loading creates the folders it names.
    const std::string name(key.name);
    const bool folder = name.size() > 5 && name.compare(name.size() - 5, 5, ".path") == 0;
    const std::string text = folder ? (temp_ / ("text of " + name)).string()
                             : key.type == SettingType::kText   ? "text of " + name
                             : key.type == SettingType::kNumber ? std::to_string(++n)
                                                                : "1";
    ASSERT_TRUE(SetSettingText(&saved, key.name, text, &error)) << error;
  }
  saved.options["options.view"] = 3;
  saved.options["options.name"] = std::string("a\nb");
  Save(saved);

  const Settings loaded = Load();
  for (const SettingKey& key : SettingKeys()) {
    std::string want, got;
    ASSERT_TRUE(GetSettingText(saved, key.name, &want));
    ASSERT_TRUE(GetSettingText(loaded, key.name, &got));
    EXPECT_EQ(got, want) << key.name;
  }
  EXPECT_EQ(loaded.options, saved.options);
}

TEST_F(SettingsTest, PasswordIsStoredOnlyWhenSaving) {
  Settings settings = Load();
  settings.smtp_pass = "hunter2";
  settings.smtp_savepass = false;
  Save(settings);
  EXPECT_EQ(Load().smtp_pass, "");
  EXPECT_EQ(ReadTextFile(SettingsFile()).find("hunter2"), std::string::npos);

  settings.smtp_savepass = true;
  Save(settings);
  EXPECT_EQ(Load().smtp_pass, "hunter2");
}

TEST_F(SettingsTest, SaveKeepsLayoutValuesOfTheSameSection) {
  FileBackend backend(SettingsFile());
  ASSERT_TRUE(backend.WriteValues(kMainSection, {{"frame.showCmd", 3}}));
  Save(Load());
  SettingValues main;
  ASSERT_TRUE(backend.ReadSection(kMainSection, &main));
  EXPECT_EQ(main.at("frame.showCmd"), SettingValue(3));
}

TEST_F(SettingsTest, LoadCreatesMissingFoldersWithTheThumbnailParent) {
  Load();
  EXPECT_TRUE(fs::is_directory(temp_ / "library"));
  EXPECT_TRUE(fs::is_directory(temp_ / "pictures"));
  EXPECT_TRUE(fs::is_directory(temp_ / "cache" / "Quorvane" / "Thumbnail"));
}

TEST_F(SettingsTest, FolderThatCannotBeCreatedIsReportedAndLoadGoesOn) {
  WriteTextFile(temp_ / "blocker", "a file, not a folder");
  const std::string blocked = (temp_ / "blocker" / "albums").string();
  WriteTextFile(SettingsFile(), "[Main]\nmyphotoalbums.path=\"" + blocked + "\"\nsmtp.port=26\n");

  const Settings settings = Load();
  ASSERT_EQ(problems_.size(), 1u);
  EXPECT_EQ(problems_[0], "Unable to create " + blocked + ": Not a directory");
  EXPECT_EQ(settings.smtp_port, 26);
  EXPECT_TRUE(fs::is_directory(temp_ / "pictures"));
}

struct SetCase {
  const char* label;
  const char* key;
  const char* text;
  bool accepted;
  const char* read_back;  // GetSettingText afterwards (when accepted)
};

class SetSettingTextTest : public ::testing::TestWithParam<SetCase> {};

TEST_P(SetSettingTextTest, ParsesByTheKeysType) {
  const SetCase& c = GetParam();
  Settings settings;
  const Settings before = settings;
  std::string error;
  ASSERT_EQ(SetSettingText(&settings, c.key, c.text, &error), c.accepted) << error;
  if (!c.accepted) {
    EXPECT_FALSE(error.empty());
    std::string text;
    if (GetSettingText(before, c.key, &text)) {
      std::string after;
      ASSERT_TRUE(GetSettingText(settings, c.key, &after));
      EXPECT_EQ(after, text);
    }
    return;
  }
  std::string text;
  ASSERT_TRUE(GetSettingText(settings, c.key, &text));
  EXPECT_EQ(text, c.read_back);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, SetSettingTextTest,
    ::testing::Values(SetCase{"Number", "smtp.port", "587", true, "587"},
                      SetCase{"NegativeNumber", "print.flags", "-1", true, "-1"},
                      SetCase{"NumberWithText", "smtp.port", "25x", false, ""},
                      SetCase{"NumberTooLarge", "smtp.port", "2147483648", false, ""},
                      SetCase{"BooleanWord", "mapi.enable", "true", true, "1"},
                      SetCase{"BooleanOff", "smtp.savepass", "off", true, "0"},
                      SetCase{"BooleanNonsense", "mapi.enable", "2", false, ""},
                      SetCase{"TextKeepsEverything", "smtp.server", " a=b ", true, " a=b "},
                      SetCase{"OptionalNumberUnset", "app.openalbumsorttype", "", true, ""},
                      SetCase{"OptionalNumberSet", "app.openalbumsorttype", "3", true, "3"},
                      SetCase{"OptionNumber", "options.zoom", "150", true, "150"},
                      SetCase{"OptionText", "options.theme", "dark", true, "dark"},
                      SetCase{"BarePrefixIsNoKey", "options.", "1", false, ""},
                      SetCase{"UnknownKey", "smtp.colour", "red", false, ""}),
    [](const auto& row) { return std::string(row.param.label); });

TEST(UserFoldersTest, PicturesFolderComesFromUserDirs) {
  TempDir temp;
  WriteTextFile(temp / "xdg" / "user-dirs.dirs",
                "# written by xdg-user-dirs-update\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
  const UserFolders folders = FindUserFolders(FakeEnvironment(
      {{"HOME", (temp / "home").string()}, {"XDG_CONFIG_HOME", (temp / "xdg").string()}}));
  EXPECT_EQ(folders.library, temp / "home" / "Bilder" / "My Quorvane Albums");
  EXPECT_EQ(folders.browser, temp / "home" / "Bilder");
  EXPECT_EQ(folders.config, temp / "xdg" / "Quorvane");
  EXPECT_EQ(folders.thumbnails, temp / "home" / ".cache" / "Quorvane" / "Thumbnail");
}

TEST(UserFoldersTest, WithoutUserDirsTheHomeFolderHoldsTheLibrary) {
  TempDir temp;
  const UserFolders folders = FindUserFolders(FakeEnvironment(
      {{"HOME", (temp / "home").string()}, {"XDG_CACHE_HOME", (temp / "cache").string()}}));
  EXPECT_EQ(folders.library, temp / "home" / "My Quorvane Albums");
  EXPECT_EQ(folders.config, temp / "home" / ".config" / "Quorvane");
  EXPECT_EQ(folders.thumbnails, temp / "cache" / "Quorvane" / "Thumbnail");
}

TEST(UserFoldersTest, QuorvaneVariablesOverrideEveryFolder) {
  const UserFolders folders = FindUserFolders(FakeEnvironment({{"HOME", "/home/u"},
                                                               {"QUORVANE_CONFIG_DIR", "/c"},
                                                               {"QUORVANE_LIBRARY_DIR", "/l"},
                                                               {"QUORVANE_THUMBNAIL_DIR", "/t"},
                                                               {"QUORVANE_BROWSER_DIR", "/b"},
                                                               {"XDG_PICTURES_DIR", ""}}));
  EXPECT_EQ(folders.config, fs::path("/c"));
  EXPECT_EQ(folders.library, fs::path("/l"));
  EXPECT_EQ(folders.thumbnails, fs::path("/t"));
  EXPECT_EQ(folders.browser, fs::path("/b"));
}

}  // namespace
}  // namespace quorvane::settings
