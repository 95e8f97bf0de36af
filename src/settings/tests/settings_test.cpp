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
            temp_ / "pictures", temp_ / "data"};
  }
  fs::path SettingsFile() const { return temp_ / "config" / "settings.conf"; }
  Settings Load() {
    FileBackend backend(SettingsFile());
    problems_.clear();
    return LoadSettings(backend, DefaultSettings(Folders()), &problems_);
  }
  // Saves what changed in `settings` since `loaded`, as a program holding both would.
  void Save(const Settings& loaded, const Settings& settings) {
    FileBackend backend(SettingsFile());
    ASSERT_TRUE(SaveSettings(backend, loaded, settings)) << backend.LastError();
  }
  // What another program does meanwhile: loads, changes and saves at once.
  template <class Change>
  void SaveElsewhere(Change change) {
    const Settings loaded = Load();
    Settings settings = loaded;
    change(settings);
    Save(loaded, settings);
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
  Save(DefaultSettings(Folders()), saved);

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
  const Settings loaded = Load();
  Settings settings = loaded;
  settings.smtp_pass = "hunter2";
  Save(loaded, settings);
  EXPECT_EQ(Load().smtp_pass, "");
  EXPECT_EQ(ReadTextFile(SettingsFile()).find("hunter2"), std::string::npos);

  settings.smtp_savepass = true;
  Save(loaded, settings);
  EXPECT_EQ(Load().smtp_pass, "hunter2");
}

TEST_F(SettingsTest, SaveKeepsLayoutValuesOfTheSameSection) {
  FileBackend backend(SettingsFile());
  ASSERT_TRUE(backend.WriteValues(kMainSection, {{"frame.showCmd", 3}}));
  SaveElsewhere([](Settings& s) { s.smtp_port = 587; });
  SettingValues main;
  ASSERT_TRUE(backend.ReadSection(kMainSection, &main));
  EXPECT_EQ(main.at("frame.showCmd"), SettingValue(3));
  EXPECT_EQ(main.at("smtp.port"), SettingValue(587));
}

// A program that loaded long ago saves over a file others have changed since.
TEST_F(SettingsTest, StaleCopySavesOnlyWhatItChanged) {
  SaveElsewhere([](Settings& s) {
    s.email_name = "Old name";
    s.app_openalbumsorttype = 2;
    s.options["options.gone"] = 1;
    s.options["options.kept"] = std::string("mine");
  });
  const Settings loaded = Load();
  Settings stale = loaded;

  SaveElsewhere([](Settings& s) {
    s.smtp_server = "mail.elsewhere";
    s.email_name = "Their name";
    s.smtp_port = 2525;
    s.options["options.theirs"] = 7;
    s.options["options.kept"] = std::string("changed elsewhere");
  });

  stale.email_address = "me@example.org";
  stale.smtp_port = 25;  // unchanged since loading: the other program's 2525 stays
  stale.app_openalbumsorttype.reset();
  stale.options.erase("options.gone");
  stale.options["options.new"] = std::string("added here");
  Save(loaded, stale);

  const Settings merged = Load();
  EXPECT_EQ(merged.email_address, "me@example.org");
  EXPECT_EQ(merged.smtp_server, "mail.elsewhere");
  EXPECT_EQ(merged.email_name, "Their name");
  EXPECT_EQ(merged.smtp_port, 2525);
  EXPECT_FALSE(merged.app_openalbumsorttype.has_value());
  EXPECT_EQ(merged.options, (SettingValues{{"options.kept", std::string("changed elsewhere")},
                                           {"options.new", std::string("added here")},
                                           {"options.theirs", 7}}));
}

struct PasswordCase {
  const char* label;
  bool loaded_keep;                 // "smtp.savepass" when this program loaded
  bool stored_keep;                 // ... when another program saved since, with "theirs"
  std::optional<bool> keep;         // this program's change of "smtp.savepass", if any
  std::optional<const char*> pass;  // this program's change of the password, if any
  const char* stored_pass_after;

  friend void PrintTo(const PasswordCase& c, std::ostream* out) { *out << c.label; }
};

class StalePasswordTest : public SettingsTest,
                          public ::testing::WithParamInterface<PasswordCase> {};

TEST_P(StalePasswordTest, PasswordFollowsTheKeepFlagOfTheSave) {
  const PasswordCase& c = GetParam();
  SaveElsewhere([&](Settings& s) {
    s.smtp_savepass = c.loaded_keep;
    s.smtp_pass = c.loaded_keep ? "loaded" : "";
  });
  const Settings loaded = Load();
  SaveElsewhere([&](Settings& s) {
    s.smtp_savepass = c.stored_keep;
    s.smtp_pass = "theirs";
  });

  Settings settings = loaded;
  settings.email_name = "always a change";
  if (c.keep) settings.smtp_savepass = *c.keep;
  if (c.pass) settings.smtp_pass = *c.pass;
  Save(loaded, settings);

  SettingValues stored;
  ASSERT_TRUE(FileBackend(SettingsFile()).ReadSection(kMainSection, &stored));
  EXPECT_EQ(stored.at("smtp.pass"), SettingValue(std::string(c.stored_pass_after)));
}

INSTANTIATE_TEST_SUITE_P(
    Changes, StalePasswordTest,
    ::testing::Values(
        // Neither changed here: whatever the other program stored stays.
        PasswordCase{"UntouchedKeepsTheirs", true, true, {}, {}, "theirs"},
        PasswordCase{"UntouchedKeepsTheirClearedOne", true, false, {}, {}, ""},
        // A new password follows the flag as stored now, not as this program loaded it.
        PasswordCase{"NewPasswordKeptWhileStoredFlagIsOn", false, true, {}, "mine", "mine"},
        PasswordCase{"NewPasswordDroppedAfterFlagTurnedOffElsewhere", true, false, {}, "mine", ""},
        // Turning the flag off here clears the password, whoever stored it.
        PasswordCase{"FlagTurnedOffClearsTheirs", true, true, false, {}, ""},
        PasswordCase{"FlagTurnedOnWithNewPassword", false, false, true, "mine", "mine"},
        PasswordCase{"FlagTurnedOnAloneKeepsTheirs", false, true, true, {}, "theirs"}),
    [](const auto& row) { return std::string(row.param.label); });

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
  EXPECT_EQ(folders.data, temp / "home" / ".local" / "share" / "Quorvane");

  folders = FindUserFolders(
      FakeEnvironment({{"HOME", home}, {"XDG_CACHE_HOME", (temp / "cache").string()}}));
  EXPECT_EQ(folders.library, temp / "home" / "Pictures" / "My Quorvane Albums");
  EXPECT_EQ(folders.config, temp / "home" / ".config" / "Quorvane");
  EXPECT_EQ(folders.thumbnails, temp / "cache" / "Quorvane" / "Thumbnail");

  folders = FindUserFolders(FakeEnvironment({{"HOME", home}, {"XDG_DATA_HOME", "/xdg/data"}}));
  EXPECT_EQ(folders.data, fs::path("/xdg/data/Quorvane"));
  folders = FindUserFolders(FakeEnvironment(
      {{"HOME", home}, {"XDG_DATA_HOME", "/xdg/data"}, {"QUORVANE_DATA_DIR", "/portable"}}));
  EXPECT_EQ(folders.data, fs::path("/portable"));
}

// The desktop's xdg-user-dir reads user-dirs.dirs as the shell does; the file reader takes
// only what xdg-user-dirs-update writes. A pictures folder switched off ("$HOME") is no place
// for the library either way.
TEST(UserFoldersTest, LibraryFollowsThePicturesFolderTheDesktopNames) {
  TempDir temp;
  const std::string home = (temp / "home").string();
  const std::string config = (temp / "xdg").string();
  WriteTextFile(temp / "xdg" / "user-dirs.dirs", "XDG_PICTURES_DIR=$HOME/Fotos\n");
  auto library = [&](std::map<std::string, std::string> more) {
    more.emplace("HOME", home);
    more.emplace("XDG_CONFIG_HOME", config);
    return FindUserFolders(FakeEnvironment(std::move(more))).library;
  };
  EXPECT_EQ(library({}), temp / "home" / "Pictures" / "My Quorvane Albums");
  EXPECT_EQ(library({{"PATH", (temp / "nowhere").string()}}),
            temp / "home" / "Pictures" / "My Quorvane Albums");
  WriteTextFile(temp / "xdg" / "user-dirs.dirs", "XDG_PICTURES_DIR=\"$HOME/\"\n");
  EXPECT_EQ(library({}), temp / "home" / "Pictures" / "My Quorvane Albums");
  EXPECT_EQ(library({{"XDG_PICTURES_DIR", home}}),
            temp / "home" / "Pictures" / "My Quorvane Albums");

  if (!fs::exists("/usr/bin/xdg-user-dir")) GTEST_SKIP() << "xdg-user-dirs is not installed";
  WriteTextFile(temp / "xdg" / "user-dirs.dirs", "XDG_PICTURES_DIR=$HOME/Fotos\n");
  EXPECT_EQ(library({{"PATH", "/usr/bin"}}), temp / "home" / "Fotos" / "My Quorvane Albums");
  EXPECT_EQ(library({{"PATH", "/usr/bin"}, {"QUORVANE_LIBRARY_DIR", "/given"}}),
            fs::path("/given"));
}

class OldDataFolderTest : public ::testing::Test {
 protected:
  UserFolders Folders(const fs::path& data) const {
    return {temp_ / "config", temp_ / "library", temp_ / "cache" / "Thumbnail", temp_ / "pictures",
            data};
  }
  std::vector<std::string> Move(const fs::path& data) {
    return MoveDataFilesFromOldFolder(Folders(data), kNames);
  }

  static constexpr std::string_view kNames[] = {"results.xml", "presence.cache"};
  TempDir temp_;
};

// Nothing moves within one folder or when there is nothing to move, and a file that cannot
// move stays where it was and is reported.
TEST_F(OldDataFolderTest, MovesNothingInPlaceAndReportsWhatCannotMove) {
  const fs::path results = temp_ / "cache" / "results.xml";
  WriteTextFile(results, "results");
  EXPECT_TRUE(Move(temp_ / "cache" / "." / "").empty());
  EXPECT_EQ(ReadTextFile(results), "results");

  WriteTextFile(temp_ / "blocker", "a file, not a folder");
  const fs::path blocked = temp_ / "blocker" / "data";
  EXPECT_EQ(Move(blocked), std::vector<std::string>{"Unable to move " + results.string() + " to " +
                                                    blocked.string() + ": Not a directory"});
  EXPECT_EQ(ReadTextFile(results), "results");

  fs::remove(results);
  EXPECT_TRUE(Move(temp_ / "data").empty());
  EXPECT_FALSE(fs::exists(temp_ / "data"));  // not made for nothing
}

}  // namespace
}  // namespace quorvane::settings
