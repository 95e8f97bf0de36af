// The thumbnail cache: its hash map, the index file, naming, staleness and the disabled cache.
#include "thumbnails/thumbnail_cache.h"

#include <gtest/gtest.h>

#include "image/image.h"
#include "platform/file_time.h"
#include "testing/temp_dir.h"
#include "thumbnails/internal/thumbnail_cache_map.h"

namespace quorvane::thumbnails {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;
using testing::WriteTextFile;

image::Image Thumb() {
  image::Image thumb;
  EXPECT_TRUE(thumb.Create(30, 20, false, {200, 10, 10, 255}));
  return thumb;
}

ThumbnailCacheEntry EntryFor(const std::string& path, const std::string& name) {
  return {name, path, 1, 2, 120, 90, 1600, 1200};
}

TEST(ThumbnailCacheMapTest, GrowsKeepsEveryEntryAndReplacesByKey) {
  internal::ThumbnailCacheMap map;
  const size_t initial_buckets = map.bucket_count();
  for (int i = 0; i < 5000; ++i) map.Set(EntryFor("/p/" + std::to_string(i), "n"));
  map.Set(EntryFor("/p/42", "replaced"));
  EXPECT_EQ(map.size(), 5000u);
  EXPECT_GT(map.bucket_count(), initial_buckets);
  for (int i = 0; i < 5000; ++i) ASSERT_NE(map.Find("/p/" + std::to_string(i)), nullptr) << i;
  EXPECT_EQ(map.Find("/p/42")->filename, "replaced");
  EXPECT_EQ(map.Find("/P/42"), nullptr);  // case-sensitive
  size_t visited = 0;
  map.ForEach([&](const ThumbnailCacheEntry&) { ++visited; });
  EXPECT_EQ(visited, 5000u);
}

class ThumbnailCacheTest : public ::testing::Test {
 protected:
  fs::path Source(const std::string& relative) {
    const fs::path path = dir_ / "photos" / relative;
    WriteTextFile(path, "not decoded by the cache");
    return path;
  }
  fs::path CacheFolder() const { return dir_ / "cache" / "Thumbnail"; }

  TempDir dir_;
};

TEST_F(ThumbnailCacheTest, IndexRoundTripsThroughCloseAndOpen) {
  ThumbnailCache cache;
  ASSERT_TRUE(cache.Open(CacheFolder()));
  EXPECT_EQ(cache.folder(), CacheFolder().string() + "/");
  const fs::path a = Source("a&b.jpg");
  ASSERT_TRUE(cache.Add(a.string(), Thumb(), 120, 90, 1600, 1200));
  ASSERT_TRUE(cache.Add(Source("c.png").string(), Thumb(), 120, 90, 40, 30));
  const ThumbnailCacheEntry before = *cache.Lookup(a.string());
  uint64_t ticks = 0;
  ASSERT_TRUE(platform::ReadFileWriteTime(a, &ticks));
  EXPECT_EQ(before.modtime_low, platform::LowHalf(ticks));
  EXPECT_EQ(before.modtime_high, platform::HighHalf(ticks));
  EXPECT_EQ(before.filename, "a&b.jpg");
  cache.Close();
  EXPECT_FALSE(cache.enabled());

  const std::string text = testing::ReadTextFile(CacheFolder() / "_index.xml");
  EXPECT_EQ(text.rfind("<Cache><Image ", 0), 0u) << text;
  EXPECT_NE(text.find(" filename=\"a&amp;b.jpg\""), std::string::npos) << text;
  EXPECT_NE(text.find(" thumb_cx=\"120\" thumb_cy=\"90\" />"), std::string::npos) << text;

  ThumbnailCache again;
  ASSERT_TRUE(again.Open(CacheFolder()));
  EXPECT_EQ(again.size(), 2u);
  EXPECT_EQ(*again.Lookup(a.string()), before);
  image::Image loaded;
  ASSERT_TRUE(again.LoadThumbnail(before, &loaded)) << loaded.last_error();
  EXPECT_EQ(loaded.width(), 30);
  EXPECT_EQ(loaded.format(), image::ImageFormat::kJpeg);
}

TEST_F(ThumbnailCacheTest, ReadsNumbersTheLenientWayAndKeepsFullTimeHalves) {
  ThumbnailCache first;
  ASSERT_TRUE(first.Open(CacheFolder()));
  first.LoadIndexText(
      "<Cache><Image filename=\"x.jpg\" original_path=\"/x.jpg\" thumb_cx=\" 120px\" "
      "thumb_cy=\"-5\" cx=\"junk\" cy=\"99999999999\" modtime_low=\"4294967295\" "
      "modtime_high=\"-1\"/></Cache>");
  const ThumbnailCacheEntry parsed = *first.Lookup("/x.jpg");
  EXPECT_EQ(parsed.thumb_cx, 120);
  EXPECT_EQ(parsed.thumb_cy, -5);
  EXPECT_EQ(parsed.cx, 0);
  EXPECT_EQ(parsed.cy, 2147483647);
  EXPECT_EQ(parsed.modtime_low, 4294967295u);
  EXPECT_EQ(parsed.modtime_high, 4294967295u);
  EXPECT_NE(first.IndexText().find("modtime_high=\"4294967295\" modtime_low=\"4294967295\""),
            std::string::npos);
}

TEST_F(ThumbnailCacheTest, DamagedIndexGivesWhatCouldBeReadAndNeverLeavesTheFolder) {
  for (const char* text :
       {"\x01\xff garbage <<<", "<Other><Image filename=\"a.jpg\" original_path=\"/a\"/></Other>",
        "<Cache><Image filename=\"../escape.jpg\" original_path=\"/a\"/><Image filename=\"\" "
        "original_path=\"/b\"/><Image filename=\"_index.xml\" original_path=\"/c\"/>",
        "<Cache><Image filename=\"ok.jpg\" original_path=\"/ok\"/><Image filena"}) {
    WriteTextFile(CacheFolder() / "_index.xml", text);
    ThumbnailCache cache;
    ASSERT_TRUE(cache.Open(CacheFolder()));
    EXPECT_EQ(cache.size(), std::string(text).find("ok.jpg") != std::string::npos ? 1u : 0u)
        << text;
    EXPECT_FALSE(cache.Lookup("/a").has_value());
  }
}

TEST_F(ThumbnailCacheTest, SameNameInTwoFoldersGetsPlainAndNumberedNames) {
  ThumbnailCache cache;
  ASSERT_TRUE(cache.Open(CacheFolder()));
  const std::string one = Source("one/photo.jpg").string();
  const std::string two = Source("two/photo.jpg").string();
  ASSERT_TRUE(cache.Add(one, Thumb(), 120, 90, 1, 1));
  ASSERT_TRUE(cache.Add(two, Thumb(), 120, 90, 1, 1));
  ASSERT_TRUE(cache.Add(Source("three/photo.jpg").string(), Thumb(), 120, 90, 1, 1));
  ASSERT_TRUE(cache.Add(Source("README").string(), Thumb(), 120, 90, 1, 1));
  EXPECT_EQ(cache.Lookup(one)->filename, "photo.jpg");
  EXPECT_EQ(cache.Lookup(two)->filename, "photo1.jpg");
  EXPECT_EQ(cache.Lookup((dir_ / "photos/three/photo.jpg").string())->filename, "photo2.jpg");
  EXPECT_EQ(cache.Lookup((dir_ / "photos/README").string())->filename, "README");
  // Bytes that would leave the folder or name a drive are replaced.
  ASSERT_TRUE(cache.Add(Source("back\\slash:colon.jpg").string(), Thumb(), 120, 90, 1, 1));
  EXPECT_EQ(cache.Lookup((dir_ / "photos/back\\slash:colon.jpg").string())->filename,
            "back_slash_colon.jpg");
  // An existing entry keeps its name, even when its file has gone meanwhile; a new source
  // does not take a name an entry still points at.
  fs::remove(CacheFolder() / "photo1.jpg");
  ASSERT_TRUE(cache.Add(two, Thumb(), 100, 80, 1, 1));
  EXPECT_EQ(cache.Lookup(two)->filename, "photo1.jpg");
  EXPECT_EQ(cache.Lookup(two)->thumb_cx, 100);
  fs::remove(CacheFolder() / "photo1.jpg");
  ASSERT_TRUE(cache.Add(Source("four/photo.jpg").string(), Thumb(), 120, 90, 1, 1));
  EXPECT_EQ(cache.Lookup((dir_ / "photos/four/photo.jpg").string())->filename, "photo3.jpg");
  EXPECT_EQ(cache.size(), 6u);
}

TEST_F(ThumbnailCacheTest, StaleOnCellSizeOrEitherTimeHalfButNotWhenUnreachable) {
  const fs::path source = Source("a.jpg");
  uint64_t ticks = 0;
  ASSERT_TRUE(platform::ReadFileWriteTime(source, &ticks));
  ThumbnailCacheEntry entry{
      "a.jpg", source.string(), platform::LowHalf(ticks), platform::HighHalf(ticks), 120, 90, 1, 1};
  EXPECT_FALSE(ThumbnailCache::IsStale(entry, 120, 90));
  EXPECT_TRUE(ThumbnailCache::IsStale(entry, 121, 90));
  EXPECT_TRUE(ThumbnailCache::IsStale(entry, 120, 89));
  ThumbnailCacheEntry low = entry;
  low.modtime_low += 1;
  EXPECT_TRUE(ThumbnailCache::IsStale(low, 120, 90));
  ThumbnailCacheEntry high = entry;
  high.modtime_high -= 1;
  EXPECT_TRUE(ThumbnailCache::IsStale(high, 120, 90));

  // One tick (100 ns) later on disk is a change.
  fs::last_write_time(source, fs::last_write_time(source) + std::chrono::nanoseconds(100));
  EXPECT_TRUE(ThumbnailCache::IsStale(entry, 120, 90));

  // A source on absent media keeps its thumbnail, whatever its time was.
  ThumbnailCacheEntry gone = low;
  gone.original_path = (dir_ / "unmounted" / "a.jpg").string();
  EXPECT_FALSE(ThumbnailCache::IsStale(gone, 120, 90));
  EXPECT_TRUE(ThumbnailCache::IsStale(gone, 100, 90));
}

TEST_F(ThumbnailCacheTest, FolderThatCannotBeMadeDisablesTheCache) {
  WriteTextFile(dir_ / "file", "x");
  for (const fs::path& folder : {dir_ / "file", dir_ / "file" / "sub"}) {
    ThumbnailCache cache;
    EXPECT_FALSE(cache.Open(folder));
    EXPECT_FALSE(cache.enabled());
    std::string error;
    EXPECT_FALSE(cache.Add(Source("a.jpg").string(), Thumb(), 120, 90, 1, 1, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(cache.Lookup(Source("a.jpg").string()).has_value());
    EXPECT_FALSE(cache.Flush());
    cache.Close();
  }
  EXPECT_EQ(testing::ReadTextFile(dir_ / "file"), "x");
}

TEST_F(ThumbnailCacheTest, FailedIndexWriteIsIgnoredKeepsTheOldIndexAndIsTriedAgain) {
  ThumbnailCache cache;
  ASSERT_TRUE(cache.Open(CacheFolder()));
  EXPECT_FALSE(cache.unsaved());
  ASSERT_TRUE(cache.Add(Source("a.jpg").string(), Thumb(), 120, 90, 1, 1));
  EXPECT_TRUE(cache.unsaved());
  ASSERT_TRUE(cache.Flush());
  EXPECT_FALSE(cache.unsaved());
  const std::string written = testing::ReadTextFile(CacheFolder() / "_index.xml");
  ASSERT_TRUE(cache.Add(Source("b.jpg").string(), Thumb(), 120, 90, 1, 1));
  // A folder in the index's place makes the rename fail.
  fs::rename(CacheFolder() / "_index.xml", dir_ / "saved.xml");
  fs::create_directories(CacheFolder() / "_index.xml" / "blocker");
  EXPECT_FALSE(cache.Flush());
  EXPECT_FALSE(cache.last_write_error().empty());
  EXPECT_TRUE(cache.unsaved());  // still to be written
  EXPECT_EQ(testing::ReadTextFile(dir_ / "saved.xml"), written);

  // Once the way is clear, the close writes both entries after all.
  fs::remove_all(CacheFolder() / "_index.xml");
  cache.Close();
  EXPECT_TRUE(cache.last_write_error().empty()) << cache.last_write_error();
  ThumbnailCache again;
  ASSERT_TRUE(again.Open(CacheFolder()));
  EXPECT_EQ(again.size(), 2u);
}

}  // namespace
}  // namespace quorvane::thumbnails
