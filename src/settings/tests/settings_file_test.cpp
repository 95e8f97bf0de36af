#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include "settings/file_backend.h"
#include "testing/temp_dir.h"

namespace quorvane::settings {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::ReadTextFile;
using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

struct RoundTripCase {
  const char* label;
  std::string name;
  SettingValue value;
};

class SettingsFileRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(SettingsFileRoundTrip, KeepsNameAndValueByteForByte) {
  const RoundTripCase& c = GetParam();
  SettingSections written;
  written["Main"][c.name] = c.value;
  written["Main"]["after"] = std::string("next line survives");
  written[c.name]["x"] = 1;  // the same bytes as a section name

  const SettingSections read = ParseSettingsFile(FormatSettingsFile(written));
  EXPECT_EQ(read, written);
}

INSTANTIATE_TEST_SUITE_P(
    Values, SettingsFileRoundTrip,
    ::testing::Values(
        RoundTripCase{"EmptyText", "email.name", std::string()},
        RoundTripCase{"TextThatLooksLikeANumber", "app.lastrunver", std::string("25")},
        RoundTripCase{"LineBreaks", "options.note", std::string("one\ntwo\r\nthree\r")},
        RoundTripCase{"EqualsAndQuotes", "a=b", std::string("x=\"y\"=z\"")},
        RoundTripCase{"Backslashes", "C:\\dir\\", std::string("\\\\server\\share\\")},
        RoundTripCase{"EscapeLookalikes", "\\x41", std::string("\\n is not a line break \\x41")},
        RoundTripCase{"Utf8", "options.caf\xC3\xA9",
                      std::string("\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x93\xB7")},
        RoundTripCase{"ControlBytesAndNul", "ctl\x01", std::string("a\0b\x7f\x1b", 5)},
        RoundTripCase{"SpacesAtTheEdges", " spaced name ", std::string("  padded  ")},
        RoundTripCase{"LooksLikeSectionOrComment", "[Main]", std::string("# not a comment")},
        RoundTripCase{"CommentName", "#name", std::string("]")},
        RoundTripCase{"HighBytes", "\xFF\xFE", std::string("\xFF\x80\xC0")},
        RoundTripCase{"Largest", "n", INT32_MAX}, RoundTripCase{"Smallest", "n", INT32_MIN}),
    [](const auto& row) { return std::string(row.param.label); });

struct ParseCase {
  const char* label;
  const char* text;
  SettingValues expected;  // of the section "Main"
};

class SettingsFileParse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(SettingsFileParse, ReadsWhatParsesAndSkipsTheRest) {
  const SettingSections sections = ParseSettingsFile(GetParam().text);
  auto main = sections.find("Main");
  const SettingValues got = main == sections.end() ? SettingValues() : main->second;
  EXPECT_EQ(got, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Files, SettingsFileParse,
    ::testing::Values(
        ParseCase{"HandEditedSpacesAndCrLf",
                  "  [Main]\r\n smtp.port = 587 \r\nx = \"a b\" \r\n",
                  {{"smtp.port", 587}, {"x", std::string("a b")}}},
        ParseCase{"DwordAboveInt32KeepsItsBits", "[Main]\nn=4294967295\n", {{"n", -1}}},
        ParseCase{"NumberOutOfRange", "[Main]\nn=4294967296\nm=-2147483649\n", {}},
        ParseCase{"NotANumberNorAText", "[Main]\na=12abc\nb=\"open\nc=+5\nd=\n", {}},
        ParseCase{"ValuesBeforeAnySection", "lost=1\n[Main]\nkept=2\n", {{"kept", 2}}},
        ParseCase{"UnclosedSectionEndsTheSection", "[Main]\na=1\n[Broken\nb=2\n", {{"a", 1}}},
        ParseCase{"LaterDuplicateWins",
                  "[Main]\na=1\n[Other]\n[Main]\na=\"two\"\n",
                  {{"a", std::string("two")}}},
        ParseCase{"NoNameOrNoEquals", "[Main]\n=1\njust text\n#c=1\n", {}},
        ParseCase{"CutOffEscapesKeptLiterally",
                  "[Main]\na=\"\\x4\"\nb=\"end\\\"\n",
                  {{"a", std::string("\\x4")}, {"b", std::string("end\\")}}},
        ParseCase{"BinaryGarbage", "\x00\xFF[\x01\n=\n\"\"\n[Main", {}}),
    [](const auto& row) { return std::string(row.param.label); });

mode_t ModeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0);
  return info.st_mode & 07777;
}

TEST(FileBackendTest, WritesArePrivateAndMergeIntoOtherValuesAndSections) {
  TempDir temp;
  const fs::path file = temp / "config" / "Quorvane" / "settings.conf";
  FileBackend backend(file);
  SettingValues main{{"stale", 1}}, recent;
  EXPECT_TRUE(backend.ReadSection("Main", &main));  // no file yet reads as empty
  EXPECT_TRUE(main.empty());

  ASSERT_TRUE(backend.WriteValues("Main", {{"a", 1}, {"b", std::string("x")}}))
      << backend.LastError();
  EXPECT_EQ(ModeOf(file), 0600u);
  EXPECT_EQ(ModeOf(file.parent_path()), 0700u);
  ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
  ASSERT_TRUE(backend.WriteValues("Recent Document List", {{"DocumentCount", 0}}));
  ASSERT_TRUE(backend.WriteValues("Main", {{"b", 3}}));
  EXPECT_EQ(ModeOf(file), 0600u);  // a rewrite takes a readable file back to private

  ASSERT_TRUE(backend.ReadSection("Main", &main));
  ASSERT_TRUE(backend.ReadSection("Recent Document List", &recent));
  EXPECT_EQ(main, (SettingValues{{"a", 1}, {"b", 3}}));
  EXPECT_EQ(recent, (SettingValues{{"DocumentCount", 0}}));
}

TEST(FileBackendTest, UnreadableStoreFailsAndWriteLeavesItAlone) {
  TempDir temp;
  const fs::path file = temp / "settings.conf";
  fs::create_directories(file / "inside");  // a folder where the file should be
  FileBackend backend(file);

  SettingValues values;
  EXPECT_FALSE(backend.ReadSection("Main", &values));
  EXPECT_NE(backend.LastError().find(file.string()), std::string::npos) << backend.LastError();
  EXPECT_FALSE(backend.WriteValues("Main", {{"a", 1}}));
  EXPECT_TRUE(fs::is_directory(file / "inside"));
}

TEST(FileBackendTest, FailedWriteKeepsThePreviousFile) {
  if (::geteuid() == 0) GTEST_SKIP() << "root writes into read-only folders";
  TempDir temp;
  FileBackend backend(temp / "ro" / "settings.conf");
  ASSERT_TRUE(backend.WriteValues("Main", {{"a", 1}}));
  const std::string before = ReadTextFile(temp / "ro" / "settings.conf");
  fs::permissions(temp / "ro", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_FALSE(backend.WriteValues("Main", {{"a", 2}}));
  EXPECT_TRUE(backend.LastError().starts_with("Unable to write")) << backend.LastError();
  fs::permissions(temp / "ro", fs::perms::owner_all);
  EXPECT_EQ(ReadTextFile(temp / "ro" / "settings.conf"), before);
}

TEST(FileBackendTest, SavesFromTwoWritersAtOnceKeepEveryValue) {
  TempDir temp;
  const fs::path file = temp / "settings.conf";
  constexpr int kValuesPerWriter = 20;
  auto writer = [&](std::string prefix) {
    FileBackend backend(file);  // one store object per writer, as two programs would have
    for (int i = 0; i < kValuesPerWriter; ++i) {
      EXPECT_TRUE(backend.WriteValues("Main", {{prefix + std::to_string(i), i}}))
          << backend.LastError();
    }
  };
  std::thread first(writer, "first."), second(writer, "second.");
  first.join();
  second.join();

  SettingValues values;
  ASSERT_TRUE(FileBackend(file).ReadSection("Main", &values));
  EXPECT_EQ(values.size(), 2u * kValuesPerWriter);
}

}  // namespace
}  // namespace quorvane::settings
