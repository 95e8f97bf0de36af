#include "search/photo_search.h"

#include <algorithm>
#include <future>

#include <gtest/gtest.h>

#include "album/album.h"
#include "album/album_index.h"
#include "album/album_library.h"
#include "album/folder_store.h"
#include "testing/recording_progress.h"
#include "testing/temp_dir.h"
#include "xml/entities.h"
#include "xml/xml_document.h"

namespace quorvane::search {
namespace {

namespace fs = std::filesystem;
using album::Album;
using album::AlbumPhoto;
using quorvane::testing::TempDir;
using quorvane::testing::WriteTextFile;

enum Fields { kTitle = 1, kDescription = 2, kKeywords = 4, kAll = 7 };

SearchRequest Request(std::string text, int fields = kAll) {
  return {std::move(text), (fields & kTitle) != 0, (fields & kDescription) != 0,
          (fields & kKeywords) != 0};
}

struct MatchCase {
  const char* label;
  const char* text;
  int fields;
  const char* title;
  const char* description;
  const char* keywords;
  bool matches;
};

TEST(PhotoMatcherTest, FollowsTheMatchingRules) {
  const MatchCase cases[] = {
      {"title substring ignoring case", "sun", kTitle, "Sunset", "", "", true},
      {"keywords want a whole keyword", "sun", kKeywords, "Sunset", "", "sunset", false},
      {"keyword equal in any case", "sun", kKeywords, "Sunset", "", "SuN", true},
      {"keyword split at ;, and space", "SUN", kKeywords, "", "", "beach;Sun, sea", true},
      {"keyword pieces trimmed", "sea", kKeywords, "", "", "beach,\tsea\n;x", true},
      {"keyword text used whole", "sun sea", kKeywords, "", "", "sun sea", false},
      {"description substring", "harbour", kDescription, "", "Boats in the HARBOUR.", "", true},
      {"unticked fields not searched", "sun", kDescription | kKeywords, "Sunset", "", "", false},
      {"fields joined by or", "sea", kAll, "Beach", "", "sea", true},
      {"longer text than field", "sunsets", kTitle, "Sunset", "", "", false},
      {"accented capitals", "église", kTitle, "ÉGLISE SAINT-PIERRE", "", "", true},
      {"accented keyword", "ÉTÉ", kKeywords, "", "", "plage; été", true},
      {"greek final sigma", "ΟΔΟΣ", kDescription, "", "στην οδος", "", true},
      {"never half a character", "\xA9", kTitle, "caf\xC3\xA9", "", "", false},
      {"a stray byte finds itself", "\xA9", kTitle, "caf\xA9", "", "", true},
      {"broken bytes in the field", "x", kAll, "\xC3", "\xFF\xFEX", "\xE2\x82", true},
      {"empty text matches nothing", "", kAll, "Sunset", "Sunset", "", false},
  };
  for (const MatchCase& c : cases) {
    PhotoMatcher matcher(Request(c.text, c.fields));
    EXPECT_EQ(matcher.Matches(c.title, c.description, c.keywords), c.matches) << c.label;
  }
}

TEST(PhotoMatcherTest, MayMatchInRulesOutOnlyAlbumsWithoutAMatch) {
  struct Case {
    const char* text;
    const char* index;  // one photo, whose texts the matcher sees decoded
    bool matches;
  } cases[] = {
      {"Tom & Jerry", "<Quorvane><Image Title=\"Tom &amp; Jerry\"></Image></Quorvane>", true},
      {"a'b", "<Quorvane><Image Keywords=\"x, a&#039;b\"></Image></Quorvane>", true},
      {"x y", "<Quorvane><Image Title=\"x&nbsp;y\"></Image></Quorvane>", true},
      {"x;", "<Quorvane><Image Title=\"&x\"></Image></Quorvane>", true},  // "&x" reads "&x;"
      {"sun", "<Quorvane><Image Title=\"su\r\nn\"></Image></Quorvane>", false},
      {"sun", "<Quorvane><Image Title=\"su\rn\n\"></Image></Quorvane>", true},  // CR dropped
      {"ÉTÉ", "<Quorvane><Image Title=\"été\"></Image></Quorvane>", true},
      {"amp", "<Quorvane><Image Title=\"&amp;\"></Image></Quorvane>", false},
  };
  for (const Case& c : cases) {
    PhotoMatcher matcher(Request(c.text));
    const std::string_view raw = c.index;
    // The photo element's texts as the album reader decodes them.
    xml::XmlDocument document;
    ASSERT_NE(album::AlbumIndex::ParseIndex(document, std::string(raw)), nullptr);
    const xml::XmlNode& image = *document.ChildAt(0)->ChildAt(0);
    const bool matches = matcher.Matches(xml::DecodeEntities(image.GetAttribute("Title")), "",
                                         xml::DecodeEntities(image.GetAttribute("Keywords")));
    EXPECT_EQ(matches, c.matches) << c.text;
    if (matches) {
      EXPECT_TRUE(matcher.MayMatchIn(raw)) << c.text;
    }
  }
  PhotoMatcher matcher(Request("harbour"));
  EXPECT_FALSE(matcher.MayMatchIn("<Quorvane><Image Title=\"Sunset\"></Image></Quorvane>"));
  EXPECT_TRUE(matcher.MayMatchIn("<Quorvane><Image Title=\"HARBOUR\"></Image></Quorvane>"));
}

// A photo file (empty: search never opens it) and its record.
AlbumPhoto Photo(const fs::path& folder, std::string file, std::string title,
                 std::string keywords = {}, std::string description = {}) {
  WriteTextFile(folder / file, "");
  AlbumPhoto photo;
  photo.image_file = std::move(file);
  photo.title = std::move(title);
  photo.keywords = std::move(keywords);
  photo.description = std::move(description);
  photo.format = "JPEG";
  return photo;
}

void SaveAlbum(const fs::path& folder, std::string title, std::vector<AlbumPhoto> photos) {
  fs::create_directories(folder);
  Album album(std::make_unique<album::FolderStore>(folder));
  album.set_title(std::move(title));
  album.photos() = std::move(photos);
  ASSERT_TRUE(album::AlbumIndex::SaveIndex(album)) << album.last_error();
}

std::vector<std::string> References(const std::vector<SearchResult>& results) {
  std::vector<std::string> refs;
  for (const SearchResult& r : results) refs.push_back(ReferenceText(r.album_path, r.index));
  return refs;
}

class LibrarySearchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const fs::path a = library_ / "a", b = library_ / "b";
    SaveAlbum(a, "Summer",
              {Photo(a, "1.jpg", "Sunset", "sun, sea"), Photo(a, "2.jpg", "Snow"),
               Photo(a, "3.jpg", "Dunes", "", "sunny day")});
    SaveAlbum(b, "Winter", {Photo(b, "gone.jpg", "Sun gone"), Photo(b, "4.jpg", "Sundown")});
    fs::remove(b / "gone.jpg");  // opening the album leaves this photo out
    WriteTextFile(library_ / "broken" / "index.quorvane", "<!-- not an index -->");
    ASSERT_GE(album::FindAlbums(library_.path(), &album_order_), 0);
  }

  std::vector<SearchResult> Search(const SearchRequest& request, platform::CancelFlag& stop,
                                   SearchSummary* summary) {
    std::vector<SearchResult> results;
    SearchScope scope;
    scope.library = library_.path();
    scope.presence_cache = presence_cache_;
    *summary = RunSearch(request, scope, stop, [&](SearchResult&& r) {
      results.push_back(std::move(r));
      if (stop_after_ > 0 && results.size() == stop_after_) stop.Cancel();
    });
    return results;
  }

  // The references of the matches, in the order FindAlbums lists the albums.
  std::vector<std::string> Expected(const std::vector<std::pair<std::string, int>>& matches) {
    std::vector<std::string> refs;
    for (const std::string& path : album_order_) {
      for (const auto& [name, index] : matches) {
        if (fs::path(path).filename() == name) refs.push_back(ReferenceText(path, index));
      }
    }
    return refs;
  }

  TempDir library_, data_;
  fs::path presence_cache_ = data_ / "presence.cache";  // the path a library search takes
  std::vector<std::string> album_order_;
  size_t stop_after_ = 0;
};

TEST_F(LibrarySearchTest, FindsEachPhotoOnceInAlbumOrderWithItsOpenedIndex) {
  platform::CancelFlag stop;
  SearchSummary summary;
  const std::vector<SearchResult> results = Search(Request("SUN"), stop, &summary);
  EXPECT_EQ(References(results), Expected({{"a", 0}, {"a", 2}, {"b", 0}}));
  EXPECT_EQ(summary.albums_searched, 2);
  EXPECT_EQ(summary.albums_skipped, 1);
  EXPECT_EQ(summary.results, 3);
  EXPECT_FALSE(summary.stopped);
  const auto sundown = std::find_if(results.begin(), results.end(), [](const SearchResult& r) {
    return r.album_title == "Winter";
  });
  ASSERT_NE(sundown, results.end());
  EXPECT_EQ(sundown->photo.image_file, "4.jpg");
  EXPECT_EQ(sundown->photo.format, "JPEG");

  EXPECT_EQ(References(Search(Request("sun", kKeywords), stop, &summary)), Expected({{"a", 0}}));
}

TEST_F(LibrarySearchTest, StopFlagEndsTheSearchBetweenPhotos) {
  platform::CancelFlag stop;
  stop_after_ = 1;
  SearchSummary summary;
  EXPECT_EQ(Search(Request("sun"), stop, &summary).size(), 1u);
  EXPECT_TRUE(summary.stopped);
  EXPECT_EQ(summary.results, 1);

  stop.Cancel();  // before the first album: nothing is read
  EXPECT_TRUE(Search(Request("sun"), stop, &summary).empty());
  EXPECT_EQ(summary.albums_searched + summary.albums_skipped, 0);
  EXPECT_TRUE(summary.stopped);
}

// More albums than the workers may read ahead of the sink, and stops at every point: the
// results come in album order, and none after the stop.
TEST(LibrarySearchOrderTest, ManyAlbumsInOrderAndNothingAfterAStop) {
  TempDir library;
  for (int a = 0; a < 40; ++a) {
    const fs::path folder = library / ("album " + std::to_string(a));
    SaveAlbum(folder, "Album " + std::to_string(a),
              {Photo(folder, "1.jpg", "Sun"), Photo(folder, "2.jpg", "Rain"),
               Photo(folder, "3.jpg", a % 3 == 0 ? "Sunny" : "Snow")});
  }
  std::vector<std::string> order;
  ASSERT_GE(album::FindAlbums(library.path(), &order), 0);
  std::vector<std::string> expected;
  for (const std::string& path : order) {
    expected.push_back(ReferenceText(path, 0));
    if (std::stoi(fs::path(path).filename().string().substr(6)) % 3 == 0) {
      expected.push_back(ReferenceText(path, 2));
    }
  }
  SearchScope scope;
  scope.library = library.path();
  for (size_t stop_after : {size_t{0}, size_t{1}, size_t{17}, size_t{40}, expected.size()}) {
    platform::CancelFlag stop;
    std::vector<SearchResult> results;
    const SearchSummary summary = RunSearch(Request("sun"), scope, stop, [&](SearchResult&& r) {
      results.push_back(std::move(r));
      if (results.size() == stop_after) stop.Cancel();
    });
    const size_t want = stop_after == 0 ? expected.size() : stop_after;
    EXPECT_EQ(References(results),
              std::vector<std::string>(expected.begin(), expected.begin() + want))
        << stop_after;
    EXPECT_EQ(summary.results, static_cast<int64_t>(want));
    EXPECT_EQ(summary.stopped, stop_after != 0 && stop_after < expected.size()) << stop_after;
  }
}

TEST(OpenAlbumSearchTest, SearchesOpenAlbumsAsTheyAreNow) {
  TempDir dir;
  Album first(std::make_unique<album::FolderStore>(dir / "first"));
  first.set_title("First");
  first.photos() = {Photo(dir / "first", "x.jpg", "Beach"), Photo(dir / "first", "y.jpg", "Sea")};
  Album untitled(std::make_unique<album::FolderStore>(dir / "second"));
  untitled.photos() = {Photo(dir / "second", "z.jpg", "Sea view")};  // never saved
  const std::vector<OpenAlbum> open = {{(dir / "first").string(), &first},
                                       {(dir / "second").string(), &untitled}};

  platform::CancelFlag stop;
  std::vector<SearchResult> results;
  auto collect = [&](SearchResult&& r) { results.push_back(std::move(r)); };
  const LookInList list = FillLookInList(open, nullptr);
  ASSERT_EQ(list.items.size(), 3u);  // the untitled album gets no item of its own
  RunSearch(Request("sea", kTitle), ScopeOf(list.items[1], dir.path(), open), stop, collect);
  EXPECT_EQ(References(results), (std::vector<std::string>{ReferenceText(open[0].path, 1),
                                                           ReferenceText(open[1].path, 0)}));
  results.clear();
  RunSearch(Request("sea", kTitle), ScopeOf(list.items[2], dir.path(), open), stop, collect);
  EXPECT_EQ(References(results), (std::vector<std::string>{ReferenceText(open[0].path, 1)}));
  EXPECT_EQ(results[0].album_title, "First");
}

TEST(LookInListTest, OffersTheLibraryOpenAlbumsAndEachTitledAlbum) {
  const LookInList none = FillLookInList({}, nullptr);
  ASSERT_EQ(none.items.size(), 1u);
  EXPECT_EQ(none.items[0].text, "All My Quorvane Albums");
  EXPECT_EQ(none.selected, 0u);

  Album a(std::make_unique<album::FolderStore>("/a")),
      b(std::make_unique<album::FolderStore>("/b"));
  a.set_title("Alps");
  b.set_title("Beach");
  const std::vector<OpenAlbum> open = {{"/a", &a}, {"/b", &b}};
  LookInList list = FillLookInList(open, nullptr);
  std::vector<std::string> texts;
  for (const LookInItem& item : list.items) texts.push_back(item.text);
  EXPECT_EQ(texts, (std::vector<std::string>{"All My Quorvane Albums", "All Currently Open Albums",
                                             "Alps", "Beach"}));

  // The choice survives a refill when its album is still open, and falls back to the first
  // item when it closed.
  const LookInItem beach = list.items[3];
  EXPECT_EQ(FillLookInList(open, &beach).selected, 3u);
  EXPECT_EQ(FillLookInList({open[0]}, &beach).selected, 0u);
  const LookInItem all_open = list.items[1];
  EXPECT_EQ(FillLookInList({open[1]}, &all_open).selected, 1u);
  EXPECT_EQ(FillLookInList({}, &all_open).selected, 0u);
}

TEST(SearchWorkerTest, RunsOnItsOwnThreadAndEmptyTextStartsNothing) {
  TempDir dir;
  Album album(std::make_unique<album::FolderStore>(dir.path()));
  album.set_title("A");
  album.photos() = {Photo(dir.path(), "1.jpg", "Sunrise"), Photo(dir.path(), "2.jpg", "Moon"),
                    Photo(dir.path(), "3.jpg", "Sunset")};
  SearchScope scope;
  scope.kind = ScopeKind::kOpenAlbums;
  scope.albums = {{dir.path().string(), &album}};

  SearchWorker worker;
  EXPECT_FALSE(worker.Start(Request(""), scope, [](SearchResult&&) {}));
  EXPECT_FALSE(worker.started());

  std::vector<int32_t> found;  // written by the worker, read after it ended
  std::promise<SearchSummary> done;
  const std::thread::id caller = std::this_thread::get_id();
  std::thread::id worker_thread;
  testing::RecordingProgress watcher;
  ASSERT_TRUE(worker.Start(
      Request("sun"), scope,
      [&](SearchResult&& r) {
        worker_thread = std::this_thread::get_id();
        found.push_back(r.index);
      },
      [&](const SearchSummary& summary) { done.set_value(summary); }, &watcher));
  const SearchSummary summary = done.get_future().get();
  worker.Stop();
  EXPECT_FALSE(worker.started());
  EXPECT_EQ(found, (std::vector<int32_t>{0, 2}));
  EXPECT_NE(worker_thread, caller);
  EXPECT_EQ(summary.results, 2);
  EXPECT_EQ(watcher.texts(), std::vector<std::string>{std::string(kSearchingText)});
  EXPECT_EQ(watcher.position(), std::make_pair(int64_t{1}, int64_t{1}));

  // The watcher's cancel stops a search as Stop does: the first result is the last.
  testing::RecordingProgress cancelling;
  std::promise<SearchSummary> stopped;
  ASSERT_TRUE(worker.Start(
      Request("sun"), scope, [&](SearchResult&&) { cancelling.Cancel(); },
      [&](const SearchSummary& ended) { stopped.set_value(ended); }, &cancelling));
  const SearchSummary cancelled = stopped.get_future().get();
  EXPECT_TRUE(cancelled.stopped);
  EXPECT_EQ(cancelled.results, 1);
}

}  // namespace
}  // namespace quorvane::search
