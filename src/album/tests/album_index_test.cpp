#include "album/album_index.h"

#include <gtest/gtest.h>

#include "album/folder_store.h"
#include "testing/temp_dir.h"

namespace quorvane::album {
namespace {

namespace fs = std::filesystem;
using testing::ReadTextFile;
using testing::TempDir;
using testing::WriteTextFile;

class AlbumIndexTest : public ::testing::Test {
 protected:
  // Copies a fixture album into the temporary folder and returns its path.
  fs::path CopyFixture(std::string_view name) {
    const fs::path target = dir_ / name;
    fs::copy(testing::TestDataPath("albums") / name, target, fs::copy_options::recursive);
    return target;
  }
  std::unique_ptr<Album> AlbumAt(const fs::path& folder) {
    return std::make_unique<Album>(std::make_unique<FolderStore>(folder));
  }
  fs::path AlbumWithIndex(std::string_view index_bytes) {
    const fs::path folder = dir_ / "album";
    WriteTextFile(folder / "index.quorvane", index_bytes);
    return folder;
  }

  TempDir dir_;
};

// The end-to-end "album show" test checks every listed field of this fixture; here only what
// that listing cannot show.
TEST_F(AlbumIndexTest, LoadsTarnwellRootKeepingCarriageReturnsAndDroppingMissingFiles) {
  auto album = AlbumAt(CopyFixture("tarnwell"));
  album->set_modified(true);
  ASSERT_TRUE(AlbumIndex::LoadIndex(*album)) << album->last_error();
  EXPECT_FALSE(album->modified());
  EXPECT_EQ(album->description(), "A trip to the coast.");
  ASSERT_EQ(album->photos().size(), 2u);  // gone.bmp is not in the folder
  EXPECT_EQ(album->photos()[0].description, "Waves");
  EXPECT_EQ(album->photos()[1].description, "\r\nSecond line");
}

TEST_F(AlbumIndexTest, WritesTheExactFileFormat) {
  const fs::path folder = dir_ / "album";
  WriteTextFile(folder / "a&b.jpg", "x");
  auto album = AlbumAt(folder);
  ASSERT_TRUE(AlbumIndex::SaveIndex(*album));  // an empty album is one self-closed root
  EXPECT_EQ(ReadTextFile(folder / "index.quorvane"), "<Quorvane Version=\"1.0\" />");
  album->set_title("Tom & Jerry's");
  album->set_description("Line 1\r\nLine <2>");
  platform::OleDate date;
  ASSERT_TRUE(platform::ParseOleDate("2024-02-29", &date));
  album->set_date(date);
  album->set_title_image_file("a&b.jpg");
  AlbumPhoto photo;
  photo.image_file = "a&b.jpg";  // file names are written as they are, "&" and all
  photo.format = "JPEG";
  photo.width = 640;
  photo.height = 480;
  photo.title = "cap\"tion";
  photo.keywords = "k1, k2";
  photo.date = date;
  album->photos().push_back(photo);
  AlbumPhoto bare;  // listed after a&b.jpg although its name sorts first: order is the album's
  bare.image_file = "0.png";
  WriteTextFile(folder / "0.png", "x");
  album->photos().push_back(bare);
  album->user_variables().Set("Name", "<v>");
  album->user_variables().Set("Empty", "");
  ASSERT_TRUE(album->modified());

  ASSERT_TRUE(AlbumIndex::SaveIndex(*album)) << album->last_error();
  EXPECT_FALSE(album->modified());
  EXPECT_EQ(ReadTextFile(folder / "index.quorvane"),
            "<Quorvane Date=\"2024-02-29\" Title=\"Tom &amp; Jerry&#039;s\" "
            "TitleImageFileName=\"a&b.jpg\" Version=\"1.0\">Line 1\r\nLine &lt;2&gt;"
            "<Image Date=\"2024-02-29\" Format=\"JPEG\" ImageFile=\"a&b.jpg\" "
            "ImageSize=\"640x480\" "
            "Keywords=\"k1, k2\" Title=\"cap&quot;tion\"></Image>"
            "<Image Format=\"\" ImageFile=\"0.png\" ImageSize=\"0x0\"></Image></Quorvane>"
            "<UserVar><Var Name=\"Name\" Value=\"&lt;v&gt;\" /><Var Name=\"Empty\" Value=\"\" />"
            "</UserVar>");

  auto reloaded = AlbumAt(folder);
  ASSERT_TRUE(AlbumIndex::LoadIndex(*reloaded)) << reloaded->last_error();
  EXPECT_EQ(reloaded->title(), album->title());
  EXPECT_EQ(reloaded->description(), album->description());
  ASSERT_EQ(reloaded->photos().size(), 2u);
  EXPECT_EQ(reloaded->title_image_file(), "a&b.jpg");
  EXPECT_EQ(reloaded->photos()[0].image_file, "a&b.jpg");
  EXPECT_EQ(reloaded->photos()[0].title, "cap\"tion");
  EXPECT_EQ(reloaded->photos()[1].image_file, "0.png");
  ASSERT_EQ(reloaded->user_variables().size(), 2u);
  EXPECT_EQ(*reloaded->user_variables().Find("Name"), "<v>");
  EXPECT_EQ(*reloaded->user_variables().Find("Empty"), "");
}

// Older programs wrote the index under older names: each is read, the newest preferred, and a
// save writes the newest name and leaves the older file where it was.
TEST_F(AlbumIndexTest, LoadsEachNameAndPrefersTheNewestAndSavesUnderTheNewest) {
  const fs::path old = CopyFixture("underscore-index");
  auto album = AlbumAt(old);
  ASSERT_TRUE(AlbumIndex::LoadIndex(*album)) << album->last_error();
  EXPECT_EQ(album->title(), "Only the old name");
  ASSERT_EQ(album->photos().size(), 1u);
  ASSERT_TRUE(AlbumIndex::SaveIndex(*album)) << album->last_error();
  EXPECT_EQ(ReadTextFile(old / "index.quorvane"),
            "<Quorvane Title=\"Only the old name\" Version=\"1.0\"><Image Format=\"GIF\" "
            "ImageFile=\"anim.gif\" ImageSize=\"32x32\">an animation</Image></Quorvane>");
  EXPECT_TRUE(fs::exists(old / "_index.xml"));

  const fs::path folder = dir_ / "album";
  album = AlbumAt(folder);
  for (const auto& [name, title] :
       {std::pair("_index.xml", "oldest"), {"index.qvo", "middle"}, {"index.quorvane", "newest"}}) {
    // A leading declaration is fine: the parser keeps no node for it.
    WriteTextFile(folder / name,
                  "<?xml version=\"1.0\"?><Quorvane Title=\"" + std::string(title) + "\" />");
    ASSERT_TRUE(AlbumIndex::LoadIndex(*album)) << album->last_error();
    EXPECT_EQ(album->title(), title);
  }
}

struct Malformed {
  const char* name;
  const char* bytes;
};

class MalformedIndexTest : public AlbumIndexTest,
                           public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedIndexTest, IsRejectedAndLeavesTheAlbumUntouched) {
  auto album = AlbumAt(AlbumWithIndex(GetParam().bytes));
  album->set_title("before");
  album->set_description("kept");
  EXPECT_FALSE(AlbumIndex::LoadIndex(*album));
  EXPECT_EQ(album->last_error(), "Unable to load album index; malformed index file.");
  EXPECT_EQ(album->title(), "before");
  EXPECT_EQ(album->description(), "kept");
}

INSTANTIATE_TEST_SUITE_P(
    Files, MalformedIndexTest,
    ::testing::Values(Malformed{"Empty", ""}, Malformed{"OtherRoot", "<Album Title=\"x\"/>"},
                      Malformed{"LeadingComment", "<!-- c --><Quorvane/>"},
                      Malformed{"LeadingInstruction", "<?style x?><Quorvane/>"},
                      Malformed{"WhiteSpaceAfterDeclaration",
                                "<?xml version=\"1.0\"?>\n<Quorvane/>"},
                      Malformed{"TextFirst", "junk<Quorvane/>"},
                      Malformed{"LowerCaseRoot", "<quorvane/>"},
                      Malformed{"Binary", "\xff\xd8\xff\xe0"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(AlbumIndexTest, FailedReadOrWriteKeepsTheStoresMessage) {
  const fs::path folder = dir_ / "no-index";
  fs::create_directories(folder);
  auto album = AlbumAt(folder);
  EXPECT_FALSE(AlbumIndex::LoadIndex(*album));
  EXPECT_EQ(album->last_error(), "Unable to read \"" + (folder / "_index.xml").string() +
                                     "\": No such file or directory");
  album = AlbumAt(dir_ / "missing" / "folder");
  EXPECT_FALSE(AlbumIndex::SaveIndex(*album));
  EXPECT_EQ(album->last_error().rfind("Unable to write \"", 0), 0u) << album->last_error();
  EXPECT_NE(album->last_error().find("No such file or directory"), std::string::npos);
}

TEST_F(AlbumIndexTest, ImageSizeAndDateParsing) {
  const fs::path folder = AlbumWithIndex(
      "<Quorvane Date=\"not a date\"><Image ImageFile=\"p\" ImageSize=\"640x480\"/>"
      "<Image ImageFile=\"p\" ImageSize=\"640\" Date=\"2001-02-30\"/>"
      "<Image ImageFile=\"p\" ImageSize=\" 12x-3\" Date=\"1999-12-31 23:59\"/>"
      "<Image ImageFile=\"p\" ImageSize=\"x5\"/><Other ImageFile=\"p\"/></Quorvane>");
  WriteTextFile(folder / "p", "x");
  auto album = AlbumAt(folder);
  album->set_date(1.0);
  ASSERT_TRUE(AlbumIndex::LoadIndex(*album));
  EXPECT_EQ(album->date(), platform::kNoDate);  // an unparsable date reads as no date
  const auto& photos = album->photos();
  ASSERT_EQ(photos.size(), 4u);  // "Other" is not a photo
  EXPECT_EQ(std::pair(photos[0].width, photos[0].height), std::pair(640, 480));
  EXPECT_EQ(std::pair(photos[1].width, photos[1].height), std::pair(640, 0));
  EXPECT_EQ(photos[1].date, platform::kNoDate);  // February 30th does not exist
  EXPECT_EQ(std::pair(photos[2].width, photos[2].height), std::pair(12, -3));
  EXPECT_EQ(platform::FormatOleDate(photos[2].date), "1999-12-31");
  EXPECT_EQ(std::pair(photos[3].width, photos[3].height), std::pair(0, 0));
}

TEST_F(AlbumIndexTest, MissingPhotosAndNamesThatLeaveTheAlbumAreDropped) {
  // A small album asks about each file; a large one lists the folder once. Both must agree.
  for (const int filler : {0, 100}) {
    std::string index = "<Quorvane>";
    for (int i = 0; i < filler; ++i)
      index += "<Image ImageFile=\"missing" + std::to_string(i) + "\"/>";
    index +=
        "<Image ImageFile=\"../outside.jpg\"/><Image ImageFile=\"/etc/passwd\"/>"
        "<Image ImageFile=\"\"/><Image ImageFile=\"..\"/><Image ImageFile=\"sub\"/>"
        "<Image ImageFile=\"in.jpg\"/></Quorvane>";
    const fs::path folder = AlbumWithIndex(index);
    WriteTextFile(dir_ / "outside.jpg", "x");
    WriteTextFile(folder / "in.jpg", "x");
    fs::create_directories(folder / "sub");  // a folder is not a photo
    auto album = AlbumAt(folder);
    ASSERT_TRUE(AlbumIndex::LoadIndex(*album));
    ASSERT_EQ(album->photos().size(), 1u) << filler;
    EXPECT_EQ(album->photos()[0].image_file, "in.jpg");
  }
}

TEST_F(AlbumIndexTest, UserVariablesReadFromBesideTheRootOnly) {
  auto album = AlbumAt(AlbumWithIndex(
      "<Quorvane><UserVar><Var Name=\"inside\" Value=\"no\"/></UserVar></Quorvane>"
      "<UserVar><Var Name=\"a\" Value=\"1\"/><Skip Name=\"s\"/><Var Name=\"b\" Value=\"2\"/>"
      "<Var Name=\"a\" Value=\"3\"/></UserVar>"));
  album->user_variables().Set("stale", "x");
  ASSERT_TRUE(AlbumIndex::LoadIndex(*album));
  const UserVariables& vars = album->user_variables();
  ASSERT_EQ(vars.size(), 2u);
  // A repeated name replaces the earlier value in its place.
  EXPECT_EQ(vars[0], (UserVariables::Entry{"a", "3"}));
  EXPECT_EQ(vars[1], (UserVariables::Entry{"b", "2"}));
}

TEST(UserVariablesTest, SetReplacesInPlaceAndRemoveKeepsOrder) {
  UserVariables vars;
  vars.Set("a", "1");
  vars.Set("b", "2");
  vars.Set("c", "3");
  vars.Set("a", "4");
  EXPECT_EQ(vars.size(), 3u);
  EXPECT_EQ(vars[0].second, "4");
  EXPECT_TRUE(vars.Remove("a"));
  EXPECT_FALSE(vars.Remove("a"));
  EXPECT_EQ(vars[0].first, "b");
  EXPECT_EQ(*vars.Find("c"), "3");  // lookups still right after the shift
  vars.Set("a", "5");
  EXPECT_EQ(vars[2], (UserVariables::Entry{"a", "5"}));
  EXPECT_EQ(vars.Find("z"), nullptr);
}

}  // namespace
}  // namespace quorvane::album
