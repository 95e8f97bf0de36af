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

// An index listing `photos` photos whose files are not there: the list counts what the
// index says.
void WriteAlbum(const fs::path& folder, const std::string& title, const std::string& date,
                int photos) {
  std::string index = "<Quorvane Version=\"1.0\" Title=\"" + title + "\" Date=\"" + date + "\">";
  for (int i = 0; i < photos; ++i) index += "<Image ImageFile=\"p" + std::to_string(i) + ".jpg\"/>";
  WriteTextFile(folder / "index.quorvane", index + "</Quorvane>");
}

AlbumListEntry Entry(std::string title, platform::OleDate date, int32_t count) {
  return {std::move(title), "", date, count, ""};
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

  std::vector<std::string> found = {"kept"};
  EXPECT_EQ(FindAlbums(library.path(), &found), 3);
  std::sort(found.begin() + 1, found.end());
  EXPECT_EQ(found, (std::vector<std::string>{"kept", (library / "a").string(),
                                             (library / "b").string(), (library / "c").string()}));
  EXPECT_TRUE(platform::IsFailure(
      static_cast<platform::ResultCode>(FindAlbums(library / "missing", &found))));
  EXPECT_EQ(found.size(), 4u);
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
        CompareCase{"TitleAccentedCapitals", Entry("\xC3\x89T\xC3\x89", 0, 0),
                    Entry("\xC3\xA9t\xC3\xA9", 0, 0), 0, 0},
        CompareCase{"TitleCyrillic", Entry("\xD0\x9C\xD0\x98\xD0\xA0", 0, 0),
                    Entry("\xD0\xBC\xD0\xB8\xD1\x80", 0, 0), 0, 0},
        CompareCase{"TitlePrefixFirst", Entry("Trip", 0, 0), Entry("trip 2", 0, 0), 0, -1},
        CompareCase{"NewestFirst", Entry("a", 45000, 0), Entry("b", 44000, 0), 1, -1},
        CompareCase{"OldestFirst", Entry("a", 45000, 0), Entry("b", 44000, 0), 2, 1},
        CompareCase{"SameDate", Entry("a", 44000.5, 0), Entry("b", 44000.5, 9), 2, 0},
        // 1899-12-29 06:00 (-1.25) came before noon (-1.5) that day, though -1.25 > -1.5.
        CompareCase{"NegativeDateOldest", Entry("six", -1.25, 0), Entry("noon", -1.5, 0), 2, -1},
        CompareCase{"NegativeDateNewest", Entry("six", -1.25, 0), Entry("noon", -1.5, 0), 1, 1},
        CompareCase{"NoDateIsOldest", Entry("none", platform::kNoDate, 0), Entry("d", -600000, 0),
                    2, -1},
        CompareCase{"PhotoCountExtremes", Entry("a", 0, INT32_MIN), Entry("b", 0, INT32_MAX), 3,
                    -1},
        CompareCase{"UnknownOrder", Entry("a", 1, 1), Entry("b", 2, 2), 4, 0}),
    [](const auto& row) { return std::string(row.param.label); });

TEST(ReadAlbumListEntryTest, ReadsTitleDateAndCountIntoTheCaption) {
  TempDir library;
  WriteAlbum(library / "x", "Caf&amp;e", "2026-01-02", 50);
  WriteTextFile(library / "untitled" / "_index.xml", "<Quorvane Version=\"1.0\"></Quorvane>");
  WriteTextFile(library / "broken" / "index.quorvane", "not xml at all");

  AlbumListEntry entry;
  std::string error;
  ASSERT_TRUE(ReadAlbumListEntry((library / "x").string(), &entry, &error)) << error;
  EXPECT_EQ(entry.caption, "Caf&e, January 2, 2026 (50 photos)");
  ASSERT_TRUE(ReadAlbumListEntry((library / "untitled").string(), &entry, &error));
  EXPECT_EQ(entry.caption, "untitled (0 photos)");
  EXPECT_FALSE(ReadAlbumListEntry((library / "broken").string(), &entry, &error));
  EXPECT_EQ(error, kMalformedIndexError);
  EXPECT_EQ(AlbumCaption("{DATE}", platform::kNoDate, 1), "{DATE} (1 photos)");
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

TEST(CreateAlbumTest, SanitisedUniqueFolderKeepsTheTypedTitle) {
  EXPECT_EQ(AlbumFolderName("a\"b*c/d:e<f>g?h\\i|j\nk"), "a_b_c_d_e_f_g_h_i_j_k");
  EXPECT_EQ(AlbumFolderName("caf\xC3\xA9 & co."), "caf\xC3\xA9 & co.");

  TempDir library;
  WriteTextFile(library / "Trip_ 5_6 (2)" / "note.txt", "not an album, still taken");
  fs::path first, second;
  std::string error;
  ASSERT_NE(CreateAlbum(library.path(), {"Trip: 5/6", "", platform::kNoDate}, &first, &error),
            nullptr)
      << error;
  ASSERT_NE(CreateAlbum(library.path(), {"Trip: 5/6", "new", 45000}, &second, &error), nullptr);
  EXPECT_EQ(first, library / "Trip_ 5_6");
  EXPECT_EQ(second, library / "Trip_ 5_6 (3)");
  AlbumListEntry entry;
  ASSERT_TRUE(ReadAlbumListEntry(first.string(), &entry, &error)) << error;
  EXPECT_EQ(entry.title, "Trip: 5/6");
  EXPECT_EQ(entry.date, platform::kNoDate);  // not overwritten by the second album
}

TEST(CreateAlbumTest, FailureReportsTheTypedNameCutToTheLimit) {
  TempDir temp;
  WriteTextFile(temp / "library", "a file where the library should be");
  const auto error_of = [](const fs::path& library, const std::string& name) {
    fs::path folder;
    std::string error;
    EXPECT_EQ(CreateAlbum(library, {name, "", 0}, &folder, &error), nullptr);
    EXPECT_EQ(folder, fs::path());
    return error;
  };
  EXPECT_EQ(error_of(temp / "library", "Trip: 5/6"), "Unable to create album \"Trip: 5/6\"");
  EXPECT_EQ(error_of(temp.path(), ".."), "Unable to create album \"..\"");
  // Far beyond any file system's name limit; cut without splitting the two-byte character.
  const std::string cut(kMaxAlbumNameBytes - 1, 'a');
  EXPECT_EQ(error_of(temp.path(), cut + "\xC3\xA9tail"), "Unable to create album \"" + cut + "\"");
}

class AlbumListTest : public ::testing::Test {
 protected:
  void SetUp() override {
    WriteAlbum(library_ / "one", "Alpha", "2020-05-01", 5);
    WriteAlbum(library_ / "two", "beta", "2024-01-01", 1);
    WriteAlbum(library_ / "three", "Gamma", "2022-03-03", 9);
    WriteTextFile(library_ / "broken" / "index.quorvane", "garbage");
    ASSERT_TRUE(list_.Load(library_.path(), kSortByTitle)) << list_.last_error();
    yes_.confirm = [this](const std::string& question) {
      questions_.push_back(question);
      return true;
    };
  }

  TempDir library_;
  AlbumList list_;
  DeleteAlbumHooks yes_;
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

TEST_F(AlbumListTest, SelectionKeepsItsPositionOrMovesToTheNewLastRow) {
  list_.Select(1);
  ASSERT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kDeleted);  // a middle row
  EXPECT_EQ(questions_,
            std::vector<std::string>{"Are you sure you want to delete the photo album \"beta\"?"});
  EXPECT_FALSE(fs::exists(library_ / "two"));
  EXPECT_EQ(Titles(list_), (std::vector<std::string>{"Alpha", "Gamma"}));
  EXPECT_EQ(list_.selected(), 1);
  ASSERT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kDeleted);  // the last row
  EXPECT_EQ(list_.selected(), 0);
  EXPECT_TRUE(list_.buttons_enabled());
  fs::remove_all(library_ / "one");  // a folder already gone still takes its row away
  ASSERT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kDeleted);  // the only row
  EXPECT_FALSE(list_.buttons_enabled());
  EXPECT_EQ(list_.selected(), -1);
  EXPECT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kCancelled);
}

TEST_F(AlbumListTest, OpenAlbumIsClosedOnlyAfterYesAndBeforeItsFolderGoes) {
  std::string open_path = list_.entries()[0].path;
  std::transform(open_path.begin(), open_path.end(), open_path.begin(), ::toupper);
  yes_.open_album_paths = {"/elsewhere", open_path};
  std::vector<std::string> closed;
  yes_.close_album = [&](const std::string& path) {
    EXPECT_TRUE(fs::exists(library_ / "one")) << "closed after deletion";
    closed.push_back(path);
  };
  DeleteAlbumHooks no = yes_;
  no.confirm = [](const std::string&) { return false; };
  EXPECT_EQ(list_.DeleteSelected(no), DeleteOutcome::kCancelled);
  EXPECT_TRUE(closed.empty());
  EXPECT_EQ(list_.entries().size(), 3u);
  EXPECT_TRUE(fs::exists(library_ / "one" / "index.quorvane"));

  EXPECT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kDeleted);
  EXPECT_EQ(closed, std::vector<std::string>{open_path});
}

TEST_F(AlbumListTest, FailedDeletionKeepsTheRow) {
  if (::geteuid() == 0) GTEST_SKIP() << "root deletes from read-only folders";
  fs::permissions(library_ / "one", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(list_.DeleteSelected(yes_), DeleteOutcome::kFailed);
  EXPECT_EQ(list_.last_error(), "Unable to delete album");
  EXPECT_EQ(list_.entries().size(), 3u);
  fs::permissions(library_ / "one", fs::perms::owner_all);
}

}  // namespace
}  // namespace quorvane::album
