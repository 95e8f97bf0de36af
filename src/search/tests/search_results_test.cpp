#include "search/search_results.h"

#include <gtest/gtest.h>

#include "testing/temp_dir.h"

namespace quorvane::search {
namespace {

namespace fs = std::filesystem;
using quorvane::testing::ReadTextFile;
using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

const std::string kSep(1, static_cast<char>(fs::path::preferred_separator));

TEST(ReferenceTextTest, JoinsFolderAndIndexWithThePlatformSeparator) {
  EXPECT_EQ(ReferenceText("/albums/Trip 2024", 7), "/albums/Trip 2024" + kSep + "7");

  std::string path;
  int32_t index = -1;
  ASSERT_TRUE(ParseReferenceText("/albums/Trip 2024" + kSep + "12", &path, &index));
  EXPECT_EQ(path, "/albums/Trip 2024");
  EXPECT_EQ(index, 12);
  for (const char* bad : {"", "12", "/a/", "/a/-1", "/a/1x", "/a/ 1", "/a/2147483648"}) {
    EXPECT_FALSE(ParseReferenceText(bad, &path, &index)) << bad;
  }
}

TEST(ResultToolTipTest, ListsTheFieldsAndAddsDateAndDescriptionWhenPresent) {
  SearchResult result;
  result.album_title = "Trip";
  result.photo.format = "JPEG";
  result.photo.width = 640;
  result.photo.height = 480;
  result.photo.image_file = "IMG_1.jpg";
  EXPECT_EQ(ResultToolTip(result),
            "In Album: Trip<br>Type: JPEG<br>Size: 640x480<br>Filename: IMG_1.jpg");

  result.photo.date = 45000;  // 2023-03-15
  result.photo.description = "Tom & \"Jerry\" <b>";
  EXPECT_EQ(ResultToolTip(result),
            "In Album: Trip<br>Type: JPEG<br>Size: 640x480<br>Filename: IMG_1.jpg"
            "<br>Date: 2023-03-15<br><br>&quot;Tom &amp; &quot;Jerry&quot; &lt;b&gt;&quot;");
}

TEST(SearchResultsFileTest, RowsSurviveSaveAndLoadInOrder) {
  TempDir dir;
  const fs::path file = dir / "searchresults.xml";
  SearchResult result;
  result.album_path = "/albums/Tom & Jerry \"2\"";
  result.index = 3;
  result.photo.image_file = "a.jpg";
  const std::vector<SearchResultRow> rows = {
      RowOf(result), {"Église <en> hiver", "/x" + kSep + "0"}, {"", ""}};
  EXPECT_EQ(rows[0].count, "a.jpg");  // no caption: the file name

  std::string error;
  ASSERT_TRUE(SaveSearchResults(file, rows, &error)) << error;
  EXPECT_EQ(ReadTextFile(file).rfind("<SearchResults Version=\"1.0\"><Result Count=\"a.jpg\"", 0),
            0u);
  std::vector<SearchResultRow> loaded = {{"stale", "row"}};
  ASSERT_TRUE(LoadSearchResults(file, &loaded, &error)) << error;
  EXPECT_EQ(loaded, rows);

  ASSERT_TRUE(SaveSearchResults(file, {}, &error));
  ASSERT_TRUE(LoadSearchResults(file, &loaded, &error));
  EXPECT_TRUE(loaded.empty());
}

TEST(SearchResultsFileTest, MissingOrDamagedFileLeavesTheListEmpty) {
  TempDir dir;
  std::vector<SearchResultRow> rows = {{"stale", "row"}};
  std::string error;
  EXPECT_FALSE(LoadSearchResults(dir / "missing.xml", &rows, &error));
  EXPECT_TRUE(rows.empty());
  EXPECT_NE(error.find("missing.xml"), std::string::npos) << error;

  for (const char* damaged :
       {"", "\xFF\xFE<\0<", "<Results><Result Count=\"1\"/></Results>", "<!-- <SearchResults> -->",
        "<SearchResults", "<SearchResults><Result Count=\"1\" Path=\"/a/1\"/>"}) {
    WriteTextFile(dir / "bad.xml", damaged);
    rows = {{"stale", "row"}};
    error.clear();
    EXPECT_FALSE(LoadSearchResults(dir / "bad.xml", &rows, &error)) << damaged;
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ(error, kMalformedResultsError);
  }

  // Other nodes beside the rows are passed over; a row without attributes reads as empty.
  ASSERT_TRUE(ParseSearchResults(
      "<SearchResults>text<Other Count=\"x\"/><Result/><Result Path=\"p\"></Result>"
      "</SearchResults>\n",
      &rows, &error));
  EXPECT_EQ(rows, (std::vector<SearchResultRow>{{"", ""}, {"", "p"}}));
}

}  // namespace
}  // namespace quorvane::search
