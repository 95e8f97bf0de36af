#include "search/search_index_reader.h"

#include <chrono>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "platform/file_util.h"
#include "search/internal/photo_presence_cache.h"
#include "testing/temp_dir.h"

namespace quorvane::search {
namespace {

using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

struct IndexCase {
  const char* label;
  const char* index;
  bool own_scanner;  // read without the album index reader
};

// The photos and title as opening the album gives them, and as the search reader gives them,
// field by field.
void ExpectSameAsOpening(const std::string& folder, const IndexCase& c) {
  album::Album album(std::make_unique<album::FolderStore>(folder));
  SearchIndexReader reader;
  const bool opened = album::AlbumIndex::LoadIndex(album);
  ASSERT_EQ(reader.Read(folder), opened) << c.label;
  if (!opened) {
    EXPECT_EQ(reader.last_error(), album.last_error()) << c.label;
    return;
  }
  EXPECT_EQ(reader.used_full_reader(), !c.own_scanner) << c.label;
  EXPECT_EQ(reader.title(), album.title()) << c.label;
  ASSERT_EQ(reader.photo_count(), album.photos().size()) << c.label;
  for (size_t i = 0; i < reader.photo_count(); ++i) {
    const album::AlbumPhoto& want = album.photos()[i];
    const album::AlbumPhoto got = reader.Photo(i);
    std::string_view title, description, keywords;
    reader.Texts(i, &title, &description, &keywords);
    EXPECT_EQ(std::tie(title, description, keywords),
              std::tie(want.title, want.description, want.keywords))
        << c.label << " photo " << i;
    EXPECT_EQ(std::tie(got.title, got.description, got.keywords, got.image_file, got.format,
                       got.width, got.height, got.date),
              std::tie(want.title, want.description, want.keywords, want.image_file, want.format,
                       want.width, want.height, want.date))
        << c.label << " photo " << i;
  }
}

TEST(SearchIndexReaderTest, ReadsEveryIndexExactlyAsOpeningTheAlbum) {
  const IndexCase cases[] = {
      {"as the program writes it",
       "<Quorvane Date=\"2024-07-04\" Title=\"Trip &amp; more\" Version=\"1.0\">About"
       "<Image Date=\"2024-07-05\" Format=\"JPEG\" ImageFile=\"a.jpg\" ImageSize=\"640x480\" "
       "Keywords=\"sun;&#039;sea&#039;\" Title=\"Sun &lt;3\">Tom &amp; Jerry\r\n</Image>"
       "<Image Format=\"PNG\" ImageFile=\"missing.png\" ImageSize=\"1x1\"></Image>"
       "<Image Format=\"\" ImageFile=\"b.jpg\" ImageSize=\"abc\"></Image></Quorvane>"
       "<UserVar><Var Name=\"a\" Value=\"b\" /></UserVar>",
       true},
      {"older root, self-closed photos, other attributes",
       "<Tarnwell Version=\"1.0\"><Image ImageFile=\"a.jpg\" Extra=\"x\" Title=\"One\" />"
       "<Image ImageFile=\"b.jpg\"/></Tarnwell>",
       true},
      {"empty album", "<Quorvane Version=\"1.0\" />", true},
      {"first of two same attributes counts",
       "<Quorvane Title=\"A\" Title=\"B\"><Image ImageFile=\"a.jpg\" Title=\"1\" Title=\"2\" "
       "ImageFile=\"b.jpg\"></Image></Quorvane>",
       true},
      {"entity without semicolon",
       "<Quorvane><Image ImageFile=\"a.jpg\">a &amp b</Image></Quorvane>", true},
      {"line break in an attribute",
       "<Quorvane><Image ImageFile=\"a.jpg\" Title=\"two\nlines\r\"></Image></Quorvane>", false},
      {"single quotes", "<Quorvane><Image ImageFile='a.jpg' Title='x'></Image></Quorvane>", false},
      {"no space between attributes",
       "<Quorvane><Image ImageFile=\"a.jpg\"Title=\"x\"></Image></Quorvane>", false},
      {"space before the end of a tag", "<Quorvane ><Image ImageFile=\"a.jpg\"></Image></Quorvane>",
       false},
      {"space before a self-closing end",
       "<Quorvane Version=\"1.0\"><Image ImageFile=\"a.jpg\" /><Image ImageFile=\"b.jpg\" / >"
       "</Quorvane>",
       false},
      {"tab between attributes",
       "<Quorvane><Image\tImageFile=\"a.jpg\"></Image><Image ImageFile=\"b.jpg\"></Image>"
       "</Quorvane>",
       false},
      {"comment among the photos",
       "<Quorvane><!-- <Image ImageFile=\"b.jpg\"> --><Image ImageFile=\"a.jpg\"></Image>"
       "</Quorvane>",
       false},
      {"other element and nesting",
       "<Quorvane><Group><Image ImageFile=\"b.jpg\"></Image></Group><Image ImageFile=\"a.jpg\">"
       "x<b>y</b></Image><Image ImageFile=\"c.jpg\"></Image></Quorvane>",
       false},
      {"closing tag of another name", "<Quorvane><Image ImageFile=\"a.jpg\"></Foo></Quorvane>",
       false},
      {"greater-than in a value",
       "<Quorvane><Image ImageFile=\"a.jpg\" Title=\"a>b\"></Image></Quorvane>", false},
      {"cut short", "<Quorvane><Image ImageFile=\"a.jpg\" Title=\"x\">desc", false},
      {"declaration first",
       "<?xml version=\"1.0\"?><Quorvane><Image ImageFile=\"a.jpg\"></Image></Quorvane>", false},
      {"not an index", "<Other><Image ImageFile=\"a.jpg\"></Image></Other>", false},
      {"white space before the root", "\n<Quorvane></Quorvane>", false},
      {"a 0xFF byte ends the file",
       "<Quorvane><Image ImageFile=\"a.jpg\"></Image>\xFF<Image ImageFile=\"b.jpg\"></Image>"
       "</Quorvane>",
       false},
  };
  for (const IndexCase& c : cases) {
    TempDir dir;
    for (const char* photo : {"a.jpg", "b.jpg", "c.jpg"}) WriteTextFile(dir / photo, "");
    WriteTextFile(dir / "index.quorvane", c.index);
    ExpectSameAsOpening(dir.path().string(), c);
  }
}

TEST(SearchIndexReaderTest, NulAndLongTagsAndMissingIndex) {
  TempDir dir;
  WriteTextFile(dir / "a.jpg", "");
  const std::string long_title(5000, 't');
  const std::string with_nul(
      "<Quorvane><Image ImageFile=\"a.jpg\" Title=\"x\0y\"></Image></Quorvane>", 66);
  for (const std::string& index :
       {with_nul, "<Quorvane><Image ImageFile=\"a.jpg\" Title=\"" + long_title + "\"></Image>" +
                      "<Image ImageFile=\"a.jpg\"></Image></Quorvane>"}) {
    WriteTextFile(dir / "index.quorvane", index);
    ExpectSameAsOpening(dir.path().string(), {"odd tag", "", false});
  }
  std::filesystem::remove(dir / "index.quorvane");
  SearchIndexReader reader;
  EXPECT_FALSE(reader.Read(dir.path().string()));
  EXPECT_EQ(reader.photo_count(), 0u);
  EXPECT_FALSE(reader.last_error().empty());
}

// Waits until file times taken now count as settled for a cache made with `kSettle`.
constexpr int64_t kSettle = 50'000'000;
void WaitToSettle() { std::this_thread::sleep_for(std::chrono::milliseconds(120)); }

TEST(SearchIndexReaderTest, PresenceCacheNeverHidesAPhotoThatCameOrWent) {
  TempDir dir, data;
  for (const char* photo : {"a.jpg", "b.jpg", "c.jpg"}) WriteTextFile(dir / photo, "");
  WriteTextFile(dir / "index.quorvane",
                "<Quorvane><Image ImageFile=\"a.jpg\"></Image><Image ImageFile=\"b.jpg\">"
                "</Image><Image ImageFile=\"c.jpg\"></Image></Quorvane>");
  const std::string folder = dir.path().string();
  const auto cache_file = data / "presence.cache";
  auto read_with_cache = [&](size_t want_photos) {
    internal::PhotoPresenceCache cache(cache_file, kSettle);
    cache.Load();
    SearchIndexReader reader;
    reader.UsePresenceCache(&cache);
    ASSERT_TRUE(reader.Read(folder));
    EXPECT_FALSE(reader.used_full_reader());
    ASSERT_EQ(reader.photo_count(), want_photos);
    ExpectSameAsOpening(folder, {"with the presence cache", "", true});
    cache.Save();
  };

  read_with_cache(3);  // too fresh to be remembered
  EXPECT_FALSE(std::filesystem::exists(cache_file));
  WaitToSettle();
  read_with_cache(3);
  ASSERT_TRUE(std::filesystem::exists(cache_file));
  read_with_cache(3);  // answered by the cache

  std::filesystem::remove(dir / "b.jpg");
  read_with_cache(2);
  WriteTextFile(dir / "b.jpg", "");
  read_with_cache(3);
  WaitToSettle();
  read_with_cache(3);
  std::filesystem::rename(dir / "c.jpg", dir / "d.jpg");
  read_with_cache(2);
}

TEST(PhotoPresenceCacheTest, KeepsSettledFoldersOnlyAndSurvivesADamagedFile) {
  TempDir data;
  const auto file = data / "presence.cache";
  const int64_t old_ns = internal::NowNs() - 10 * internal::PhotoPresenceCache::kSettleNs;
  const internal::FolderStamp settled{{1, 2, 3, old_ns, old_ns}, {1, 5, 6, old_ns, old_ns}};
  internal::FolderStamp fresh = settled;
  fresh.index.changed_ns = internal::NowNs();
  {
    internal::PhotoPresenceCache cache(file);
    for (const char* folder :
         {"/lib/old", "/lib/gone", "/lib/deleted", "/lib/unread", "/other/kept"}) {
      cache.Remember(folder, settled);
    }
    cache.Remember("/lib/fresh", fresh);
    cache.Save();
  }
  {
    internal::PhotoPresenceCache cache(file);
    cache.Load();
    EXPECT_TRUE(cache.AllPresent("/lib/old", settled));
    EXPECT_FALSE(cache.AllPresent("/lib/fresh", fresh));
    internal::FolderStamp changed = settled;
    changed.folder.modified_ns += 1;
    EXPECT_FALSE(cache.AllPresent("/lib/gone", changed));  // and forgotten
    // "/lib" no longer holds "deleted"; "unread" is still there though this search settled it
    // from its bytes alone; "/other" was not searched.
    cache.ForgetOthersIn("/lib/", {"/lib/old", "/lib/gone", "/lib/unread", "/lib/new"});
    cache.Save();
  }
  std::string bytes;
  std::string error;
  ASSERT_TRUE(platform::ReadWholeFile(file, &bytes, &error));
  internal::PhotoPresenceCache cache(file);
  ASSERT_TRUE(cache.Parse(bytes));
  EXPECT_TRUE(cache.AllPresent("/lib/old", settled));
  EXPECT_TRUE(cache.AllPresent("/other/kept", settled));
  EXPECT_TRUE(cache.AllPresent("/lib/unread", settled));
  EXPECT_FALSE(cache.AllPresent("/lib/gone", settled));
  EXPECT_FALSE(cache.AllPresent("/lib/deleted", settled));

  for (size_t cut : {size_t{0}, size_t{10}, bytes.size() / 2, bytes.size() - 1}) {
    internal::PhotoPresenceCache damaged(file);
    EXPECT_FALSE(damaged.Parse(bytes.substr(0, cut))) << cut;
    EXPECT_FALSE(damaged.AllPresent("/lib/old", settled)) << cut;
  }
}

}  // namespace
}  // namespace quorvane::search
