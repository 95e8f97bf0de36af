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

TEST_F(SettingsTest, MissingDamagedOrMistypedValuesKeepTheirDefaults) {
  Settings settings = Load();  // no file yet
  EXPECT_EQ(settings.smtp_port, 25);
  EXPECT_EQ(settings.pop3_port, 110);
  EXPECT_EQ(settings.smtp_method, kSmtpAuthNone);
  EXPECT_EQ(settings.print_flags, 5);
  EXPECT_FALSE(settings.mapi_enable);
  EXPECT_FALSE(settings.app_openalbumsorttype.has_value());
  EXPECT_EQ(settings.myphotoalbums_path, (temp_ / "library").string());
  EXPECT_TRUE(problems_.empty());

  WriteTextFile(SettingsFile(),
                "[Main]\nsmtp.port=\"587\"\nmapi.enable=\"1\"\nsmtp.server=7\n"
                "app.openalbumsorttype=\"2\"\npop3.port=995\nsmtp.method=2\n");
  settings = Load();
  EXPECT_EQ(settings.smtp_port, 25);
  EXPECT_FALSE(settings.mapi_enable);
  EXPECT_EQ(settings.smtp_server, "");
  EXPECT_FALSE(settings.app_openalbumsorttype.has_value());
  EXPECT_EQ(settings.pop3_port, 995);  // the well-typed values still count
  EXPECT_EQ(settings.smtp_method, kSmtpAuthLogin);
}

TEST_F(SettingsTest, EveryKeyAndTheOptionsRoundTrip) {
  Settings saved = DefaultSettings(Folders());
  int32_t n = 1000;
  for (const SettingKey& key : SettingKeys()) {
    std::string error;
    // Folder keys get folders inside the test's own: loading creates the folders it names.
    const std::string name(key.name);
    const std::string text = name.ends_with(".path")            ? (temp_ / name).string()
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

TEST_F(SettingsTest, LoadCreatesTheFoldersAndReportsOneItCannot) {
  Load();
  EXPECT_TRUE(fs::is_directory(temp_ / "library"));
  EXPECT_TRUE(fs::is_directory(temp_ / "cache" / "Quorvane" / "Thumbnail"));

  WriteTextFile(temp_ / "blocker", "a file, not a folder");
  const std::string blocked = (temp_ / "blocker" / "albums").string();
  WriteTextFile(SettingsFile(), "[Main]\nmyphotoalbums.path=\"" + blocked + "\"\nsmtp.port=26\n");
  const Settings settings = Load();
  EXPECT_EQ(problems_,
            std::vector<std::string>{"Unable to create " + blocked + ": Not a directory"});
  EXPECT_EQ(settings.smtp_port, 26);
  EXPECT_TRUE(fs::is_directory(temp_ / "pictures"));
}

struct SetCase {
  const char* label;
  const char* key;
  const char* text;
  bool accepted;
  const char* read_back;  // GetSettingText afterwards: the default when refused
};

class SetSettingTextTest : public ::testing::TestWithParam<SetCase> {};

TEST_P(SetSettingTextTest, ParsesByTheKeysType) {
  const SetCase& c = GetParam();
  Settings settings;
  std::string error, text;
  ASSERT_EQ(SetSettingText(&settings, c.key, c.text, &error), c.accepted) << error;
  EXPECT_EQ(error.empty(), c.accepted) << error;
  GetSettingText(settings, c.key, &text);
  EXPECT_EQ(text, c.read_back);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, SetSettingTextTest,
    ::testing::Values(SetCase{"NegativeNumber", "print.flags", "-1", true, "-1"},
                      SetCase{"NumberWithText", "smtp.port", "25x", false, "25"},
                      SetCase{"NumberTooLarge", "smtp.port", "2147483648", false, "25"},
                      SetCase{"BooleanWord", "mapi.enable", "true", true, "1"},
                      SetCase{"BooleanNonsense", "mapi.enable", "2", false, "0"},
                      SetCase{"OptionalNumberUnset", "app.openalbumsorttype", "", true, ""},
                      SetCase{"OptionNumber", "options.zoom", "150", true, "150"},
                      SetCase{"OptionText", "options.theme", "dark", true, "dark"},
                      SetCase{"BarePrefixIsNoKey", "options.", "1", false, ""},
                      SetCase{"UnknownKey", "smtp.colour", "red", false, ""}),
    [](const auto& row) { return std::string(row.param.label); });

TEST(UserFoldersTest, FoldersComeFromUserDirsOrHome) {
  TempDir temp;
  const std::string home = (temp / "home").string();
  WriteTextFile(temp / "xdg" / "user-dirs.dirs",
                "# written by xdg-user-dirs-update\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                "XDG_PICTURES_DIR=\"$HOME/Bilder\"\n");
  UserFolders folders = FindUserFolders(
      FakeEnvironment({{"HOME", home}, {"XDG_CONFIG_HOME", (temp / "xdg").string()}}));
  EXPECT_EQ(folders.library, temp / "home" / "Bilder" / "My Quorvane Albums");
  EXPECT_EQ(folders.browser, temp / "home" / "Bilder");
  EXPECT_EQ(folders.config, temp / "xdg" / "Quorvane");
  EXPECT_EQ(folders.thumbnails, temp / "home" / ".cache" / "Quorvane" / "Thumbnail");

  folders = FindUserFolders(
      FakeEnvironment({{"HOME", home}, {"XDG_CACHE_HOME", (temp / "cache").string()}}));
  EXPECT_EQ(folders.library, temp / "home" / "My Quorvane Albums");
  EXPECT_EQ(folders.config, temp / "home" / ".config" / "Quorvane");
  EXPECT_EQ(folders.thumbnails, temp / "cache" / "Quorvane" / "Thumbnail");
}

}  // namespace
}  // namespace quorvane::settings
