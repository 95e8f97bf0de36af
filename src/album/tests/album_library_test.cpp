#include "album/album_library.h"

#include <algorithm>
#include <unistd.h>

#include <gtest/gtest.h>

#include "album/album_index.h"
#include "album/folder_store.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::TempDir;
using quorvane::testing::TestDataPath;
using quorvane::testing::WriteTextFile;

// An index with `photos` Image elements whose files are not there: the list counts what
// the index says.
void WriteAlbum(const fs::path& folder, std::string_view title, std::string_view date, int photos) {
  std::string index = "<Quorvane Version=\"1.0\" Title=\"" + std::string(title) + "\"";
  if (!date.empty()) index += " Date=\"" + std::string(date) + "\"";
  index += ">";
  for (int i = 0; i < photos; ++i) {
    index += "<Image ImageFile=\"p" + std::to_string(i) + ".jpg\" ImageSize=\"1x1\"></Image>";
  }
  index += "</Quorvane>";
  WriteTextFile(folder / "index.quorvane", index);
}

AlbumListEntry Entry(std::string title, platform::OleDate date, int32_t count) {
  AlbumListEntry entry;
  entry.title = std::move(title);
  entry.date = date;
  entry.photo_count = count;
  return entry;
}

std::vector<std::string> Titles(const AlbumList& list) {
  std::vector<std::string> titles;
  for (const AlbumListEntry& entry : list.entries()) titles.push_back(entry.title);
  return titles;
}

TEST(FindAlbumsTest, ListsSubfoldersHoldingAnyIndexName) {
  TempDir library;
  WriteTextFile(library / "a" / "index.quorvane", "");
  WriteTextFile(library / "b" / "index.qvo", "");
  fs::copy(TestDataPath("albums/underscore-index"), library / "c");
  WriteTextFile(library / "not-an-album" / "photo.jpg", "");
  WriteTextFile(library / "index.quorvane", "");  // a file in the library itself
  WriteTextFile(library / "file-album", "");

  std::vector<std::string> found = {"kept"};
  EXPECT_EQ(FindAlbums(library.path(), &found), 3);
  std::sort(found.begin() + 1, found.end());
  EXPECT_EQ(found, (std::vector<std::string>{"kept", (library / "a").string(),
                                             (library / "b").string(), (library / "c").string()}));
}

TEST(FindAlbumsTest, MissingLibraryFails) {
  TempDir temp;
  std::vector<std::string> found;
  EXPECT_EQ(FindAlbums(temp / "missing", &found), kLibraryFailed);
  EXPECT_TRUE(found.empty());
}

struct CompareCase {
  const char* label;
  AlbumListEntry a, b;
  int sort_order;
  int sign;  // of CompareAlbumEntries(a, b)
};

class CompareAlbumEntriesTest : public ::testing::TestWithParam<CompareCase> {};

TEST_P(CompareAlbumEntriesTest, OrdersBySortOrder) {
  const CompareCase& c = GetParam();
  const auto sign = [](int v) { return (v > 0) - (v < 0); };
  EXPECT_EQ(sign(CompareAlbumEntries(c.a, c.b, c.sort_order)), c.sign);
  EXPECT_EQ(sign(CompareAlbumEntries(c.b, c.a, c.sort_order)), -c.sign);
}

INSTANTIATE_TEST_SUITE_P(
    Orders, CompareAlbumEntriesTest,
    ::testing::Values(
        CompareCase{"TitleIgnoresCase", Entry("apple", 0, 0), Entry("Banana", 0, 0), 0, -1},
        CompareCase{"TitleEqualButCase", Entry("ROME", 0, 0), Entry("rome", 0, 0), 0, 0},
        CompareCase{"TitleAccentedCapitals", Entry("\xC3\x89T\xC3\x89", 0, 0),
                    Entry("\xC3\xA9t\xC3\xA9", 0, 0), 0, 0},
        CompareCase{"TitleCyrillic", Entry("\xD0\x9C\xD0\x98\xD0\xA0", 0, 0),
                    Entry("\xD0\xBC\xD0\xB8\xD1\x80", 0, 0), 0, 0},
        CompareCase{"TitlePrefixFirst", Entry("Trip", 0, 0), Entry("trip 2", 0, 0), 0, -1},
        CompareCase{"NewestFirst", Entry("a", 45000, 0), Entry("b", 44000, 0), 1, -1},
        CompareCase{"OldestFirst", Entry("a", 45000, 0), Entry("b", 44000, 0), 2, 1},
        CompareCase{"SameDateNewest", Entry("a", 44000.5, 0), Entry("b", 44000.5, 9), 1, 0},
        CompareCase{"SameDateOldest", Entry("a", 44000.5, 0), Entry("b", 44000.5, 9), 2, 0},
        // 1899-12-29 06:00 (-1.25) came before noon (-1.5) that day, though -1.25 > -1.5.
        CompareCase{"NegativeTimeOfDayOldest", Entry("six", -1.25, 0), Entry("noon", -1.5, 0), 2,
                    -1},
        CompareCase{"NegativeTimeOfDayNewest", Entry("six", -1.25, 0), Entry("noon", -1.5, 0), 1,
                    1},
        CompareCase{"NoDateIsOldest", Entry("none", platform::kNoDate, 0), Entry("d", -600000, 0),
                    2, -1},
        CompareCase{"PhotoCount", Entry("a", 0, 3), Entry("b", 0, 50), 3, -1},
        CompareCase{"PhotoCountExtremes", Entry("a", 0, INT32_MIN), Entry("b", 0, INT32_MAX), 3,
                    -1},
        CompareCase{"UnknownOrder", Entry("a", 1, 1), Entry("b", 2, 2), 4, 0}),
    [](const auto& row) { return std::string(row.param.label); });

TEST(MonotonicOleDateTest, CountsNegativeFractionsBackwards) {
  EXPECT_DOUBLE_EQ(MonotonicOleDate(-1.25), -0.75);
  EXPECT_DOUBLE_EQ(MonotonicOleDate(-2.0), -2.0);
  EXPECT_DOUBLE_EQ(MonotonicOleDate(1.25), 1.25);
}

TEST(AlbumCaptionTest, ShowsDateWhenThereIsOne) {
  platform::OleDate date = 0;
  ASSERT_TRUE(platform::ParseOleDate("2026-07-04", &date));
  EXPECT_EQ(AlbumCaption("Trip", date, 3), "Trip, July 4, 2026 (3 photos)");
  EXPECT_EQ(AlbumCaption("Trip", platform::kNoDate, 0), "Trip (0 photos)");
  EXPECT_EQ(AlbumCaption("{DATE}", platform::kNoDate, 1), "{DATE} (1 photos)");
}

TEST(ReadAlbumListEntryTest, ReadsTitleDateAndCountFromTheIndex) {
  TempDir library;
  WriteAlbum(library / "x", "Caf&amp;e", "2026-01-02", 50);
  WriteTextFile(library / "untitled" / "_index.xml", "<Quorvane Version=\"1.0\"></Quorvane>");
  WriteTextFile(library / "broken" / "index.quorvane", "not xml at all");

  AlbumListEntry entry;
  std::string error;
  ASSERT_TRUE(ReadAlbumListEntry((library / "x").string(), &entry, &error)) << error;
  EXPECT_EQ(entry.title, "Caf&e");
  EXPECT_EQ(entry.photo_count, 50);
  EXPECT_EQ(entry.caption, "Caf&e, January 2, 2026 (50 photos)");
  ASSERT_TRUE(ReadAlbumListEntry((library / "untitled").string(), &entry, &error));
  EXPECT_EQ(entry.caption, "untitled (0 photos)");
  EXPECT_FALSE(ReadAlbumListEntry((library / "broken").string(), &entry, &error));
  EXPECT_EQ(error, kMalformedIndexError);
}

// The list reads indexes its own faster way; it must count what the index reader keeps
// when every photo file is present.
class ListEntryMatchesIndexReader : public ::testing::TestWithParam<const char*> {};

TEST_P(ListEntryMatchesIndexReader, SameTitleDateAndCount) {
  TempDir temp;
  const fs::path folder = temp / "album";
  WriteTextFile(folder / "index.quorvane", GetParam());
  for (const char* name : {"a.jpg", "b.jpg", "c d.jpg", "e.jpg"}) WriteTextFile(folder / name, "");

  Album album(std::make_unique<FolderStore>(folder));
  ASSERT_TRUE(AlbumIndex::LoadIndex(album)) << album.last_error();
  AlbumListEntry entry;
  std::string error;
  ASSERT_TRUE(ReadAlbumListEntry(folder.string(), &entry, &error)) << error;
  EXPECT_EQ(entry.photo_count, static_cast<int32_t>(album.photos().size()));
  EXPECT_EQ(entry.title, album.title().empty() ? "album" : album.title());
  EXPECT_EQ(entry.date, album.date());
}

INSTANTIATE_TEST_SUITE_P(
    Indexes, ListEntryMatchesIndexReader,
    ::testing::Values(
        "<Quorvane Title=\"T\" Date=\"2001-02-03\">desc<Image ImageFile=\"a.jpg\">x &lt; y"
        "</Image><Image ImageFile=\"b.jpg\"/><Image ImageFile=\"../a.jpg\"></Image>"
        "<Image Title=\"no file\"></Image></Quorvane><UserVar><Image ImageFile=\"a.jpg\"/>"
        "</UserVar>",
        "<Tarnwell Title='Old'><Image\tImageFile=a.jpg></Image><Image ImageFile='b.jpg' />"
        "<!-- <Image ImageFile=\"e.jpg\"> --><Image ImageFile=\"c d.jpg\">"
        "<Image ImageFile=\"e.jpg\"></Image></Image></Tarnwell>",
        "<Quorvane><Image Title=\"a ImageFile=\" ImageFile=\"a.jpg\">text<b>bold</b>"
        "</Image><Image ImageFile=\"b.jpg\">unclosed</Quorvane><Image ImageFile=\"c d.jpg\">",
        "<Quorvane><Image ImageFile=\"a.jpg\">\r\n</Image><Image ImageFile=\"\"></Image>"
        "<Image ImageFile=\"b.jpg\" /></Quorvane>"));

TEST(CreateAlbumTest, ReplacesTheNineCharactersInTheFolderName) {
  EXPECT_EQ(AlbumFolderName("a\"b*c/d:e<f>g?h\\i|j"), "a_b_c_d_e_f_g_h_i_j");
  EXPECT_EQ(AlbumFolderName("line\nbreak"), "line_break");
  EXPECT_EQ(AlbumFolderName("caf\xC3\xA9 & co."), "caf\xC3\xA9 & co.");

  TempDir library;
  fs::path folder;
  std::string error;
  auto album = CreateAlbum(library.path(), {"Trip: 5/6", "", platform::kNoDate}, &folder, &error);
  ASSERT_NE(album, nullptr) << error;
  EXPECT_EQ(folder, library / "Trip_ 5_6");

  Album reread(std::make_unique<FolderStore>(folder));
  ASSERT_TRUE(AlbumIndex::LoadIndex(reread)) << reread.last_error();
  EXPECT_EQ(reread.title(), "Trip: 5/6");
}

TEST(CreateAlbumTest, ExistingFolderIsNeverOverwritten) {
  TempDir library;
  WriteAlbum(library / "Trip", "Old trip", "", 2);
  WriteTextFile(library / "Trip (2)" / "note.txt", "not an album, still taken");

  fs::path folder;
  std::string error;
  ASSERT_NE(CreateAlbum(library.path(), {"Trip", "new", 45000}, &folder, &error), nullptr);
  EXPECT_EQ(folder, library / "Trip (3)");
  AlbumListEntry old_entry;
  ASSERT_TRUE(ReadAlbumListEntry((library / "Trip").string(), &old_entry, &error));
  EXPECT_EQ(old_entry.title, "Old trip");
  EXPECT_EQ(old_entry.photo_count, 2);
}

TEST(CreateAlbumTest, FailureReportsTheTypedName) {
  TempDir temp;
  WriteTextFile(temp / "library", "a file where the library should be");
  fs::path folder;
  std::string error;
  EXPECT_EQ(CreateAlbum(temp / "library", {"Trip: 5/6", "", 0}, &folder, &error), nullptr);
  EXPECT_EQ(error, "Unable to create album \"Trip: 5/6\"");
  EXPECT_EQ(CreateAlbum(temp.path(), {"..", "", 0}, &folder, &error), nullptr);
  EXPECT_EQ(error, "Unable to create album \"..\"");
  EXPECT_EQ(folder, fs::path());
}

TEST(CreateAlbumTest, OverlongNameIsCutWithoutSplittingACharacter) {
  TempDir library;
  const std::string name = std::string(kMaxAlbumNameBytes - 1, 'a') + "\xC3\xA9tail";
  fs::path folder;
  std::string error;
  // Far beyond any file system's name limit, so creation fails; the message shows the cut.
  EXPECT_EQ(CreateAlbum(library.path(), {name, "", 0}, &folder, &error), nullptr);
  EXPECT_EQ(error, "Unable to create album \"" + std::string(kMaxAlbumNameBytes - 1, 'a') + "\"");
}

class AlbumListTest : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteAlbum(library_ / "one", "Alpha", "2020-05-01", 5);
    WriteAlbum(library_ / "two", "beta", "2024-01-01", 1);
    WriteAlbum(library_ / "three", "Gamma", "2022-03-03", 9);
    WriteTextFile(library_ / "broken" / "index.quorvane", "garbage");
    ASSERT_TRUE(list_.Load(library_.path(), kSortByTitle)) << list_.last_error();
  }
  DeleteAlbumHooks Yes() {
    DeleteAlbumHooks hooks;
    hooks.confirm = [this](const std::string& question) {
      questions_.push_back(question);
      return true;
    };
    return hooks;
  }

  TempDir library_;
  AlbumList list_;
  std::vector<std::string> questions_;
};

TEST_F(AlbumListTest, LoadsReadableAlbumsInTheChosenOrder) {
  EXPECT_EQ(Titles(list_), (std::vector<std::string>{"Alpha", "beta", "Gamma"}));
  EXPECT_EQ(list_.selected(), 0);
  list_.SetSortOrder(kSortNewestFirst);
  EXPECT_EQ(Titles(list_), (std::vector<std::string>{"beta", "Gamma", "Alpha"}));
  list_.SetSortOrder(kSortByPhotoCount);
  EXPECT_EQ(Titles(list_), (std::vector<std::string>{"beta", "Alpha", "Gamma"}));
}

TEST_F(AlbumListTest, DeletingTheLastRowSelectsTheNewLastRow) {
  list_.Select(2);
  EXPECT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  EXPECT_EQ(questions_,
            std::vector<std::string>{"Are you sure you want to delete the photo album \"Gamma\"?"});
  EXPECT_FALSE(fs::exists(library_ / "three"));
  EXPECT_EQ(Titles(list_), (std::vector<std::string>{"Alpha", "beta"}));
  EXPECT_EQ(list_.selected(), 1);
}

TEST_F(AlbumListTest, DeletingAMiddleRowKeepsThePosition) {
  list_.Select(1);
  EXPECT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  EXPECT_EQ(list_.selected(), 1);
  EXPECT_EQ(list_.entries()[1].title, "Gamma");
}

TEST_F(AlbumListTest, DeletingTheOnlyRowDisablesTheButtons) {
  list_.Select(0);
  ASSERT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  ASSERT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  EXPECT_TRUE(list_.buttons_enabled());
  ASSERT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  EXPECT_FALSE(list_.buttons_enabled());
  EXPECT_EQ(list_.selected(), -1);
  EXPECT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kCancelled);
}

TEST_F(AlbumListTest, AnswerOtherThanYesKeepsEverything) {
  DeleteAlbumHooks hooks;
  hooks.confirm = [](const std::string&) { return false; };
  hooks.close_album = [](const std::string&) { FAIL() << "nothing may be closed"; };
  hooks.open_album_paths = {list_.entries()[0].path};
  EXPECT_EQ(list_.DeleteSelected(hooks), DeleteOutcome::kCancelled);
  EXPECT_EQ(list_.entries().size(), 3u);
  EXPECT_TRUE(fs::exists(library_ / "one" / "index.quorvane"));
}

TEST_F(AlbumListTest, OpenAlbumIsClosedBeforeItsFolderGoes) {
  DeleteAlbumHooks hooks = Yes();
  std::string open_path = list_.entries()[0].path;
  std::transform(open_path.begin(), open_path.end(), open_path.begin(), ::toupper);
  hooks.open_album_paths = {"/elsewhere", open_path};
  std::vector<std::string> closed;
  hooks.close_album = [&](const std::string& path) {
    EXPECT_TRUE(fs::exists(library_ / "one")) << "closed after deletion";
    closed.push_back(path);
  };
  EXPECT_EQ(list_.DeleteSelected(hooks), DeleteOutcome::kDeleted);
  EXPECT_EQ(closed, std::vector<std::string>{open_path});
}

TEST_F(AlbumListTest, FolderAlreadyGoneStillRemovesTheRow) {
  fs::remove_all(library_ / "one");
  EXPECT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kDeleted);
  EXPECT_EQ(list_.entries().size(), 2u);
}

TEST_F(AlbumListTest, FailedDeletionKeepsTheRow) {
  if (::geteuid() == 0) GTEST_SKIP() << "root deletes from read-only folders";
  fs::permissions(library_ / "one", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(list_.DeleteSelected(Yes()), DeleteOutcome::kFailed);
  EXPECT_EQ(list_.last_error(), "Unable to delete album");
  EXPECT_EQ(list_.entries().size(), 3u);
  fs::permissions(library_ / "one", fs::perms::owner_all);
}

}  // namespace
}  // namespace quorvane::album
