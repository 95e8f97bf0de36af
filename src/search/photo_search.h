// Photo search: finds the photos of a set of albums whose caption or description holds a
// text (ignoring case, Unicode-aware) or one of whose keywords is that text. The scope is
// every album of the album library, every open album, or one open album, as the search
// pane's "Look in:" list offers them. Results keep the order of the albums and of the photos
// in each album; each photo is found at most once.
//
// Example:
//   SearchRequest request{.text = "sun"};
//   SearchScope scope{.kind = ScopeKind::kLibrary, .library = library_folder};
//   platform::CancelFlag stop;
//   RunSearch(request, scope, stop, [&](SearchResult&& r) { rows.push_back(RowOf(r)); });
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/progress.h"
#include "search/search_results.h"

namespace quorvane::album {
class Album;
}

namespace quorvane::search {

inline constexpr std::string_view kLookInLibrary = "All My Quorvane Albums";
inline constexpr std::string_view kLookInOpenAlbums = "All Currently Open Albums";
inline constexpr std::string_view kSearchingText = "Searching...";
inline constexpr std::string_view kNoMatchesText = "No matches found";
// Where the program keeps a SearchScope's presence_cache, in its data folder.
inline constexpr std::string_view kPresenceCacheFileName = "photo-presence.cache";

struct SearchRequest {
  std::string text;  // used whole, never split into words
  bool in_title = true;
  bool in_description = true;
  bool in_keywords = true;
};

// The matching rules for one request. Title and description match when they hold the text
// (ignoring case); keywords, split at commas, semicolons and spaces and trimmed, match when
// one equals the whole text (ignoring case). Fields are joined by OR. An empty text matches
// nothing. Thread-compatible (it keeps a scratch buffer).
class PhotoMatcher {
 public:
  explicit PhotoMatcher(const SearchRequest& request);
  PhotoMatcher(const PhotoMatcher&) = delete;
  PhotoMatcher& operator=(const PhotoMatcher&) = delete;

  bool Matches(std::string_view title, std::string_view description, std::string_view keywords);

  // False only when no photo of an album index with these bytes can match, which spares
  // reading its photos: the longest run of the text without a character that entity
  // decoding makes (& ; < > " ' and space) does not occur in the folded bytes. True for
  // bytes holding a carriage return, which the XML reader drops from some values.
  bool MayMatchIn(std::string_view index_bytes);
  // After MayMatchIn said true: false when the photo whose element takes the bytes
  // [begin, end) of those index bytes cannot match. Photos must come in file order.
  bool MayMatchAt(size_t begin, size_t end);

 private:
  bool Holds(std::string_view field);
  bool HasKeyword(std::string_view keywords);

  std::string folded_text_;
  std::string folded_key_;           // the run MayMatchIn looks for
  std::vector<size_t> key_offsets_;  // where it occurs in the index bytes
  bool offsets_known_ = false;
  size_t next_offset_ = 0;
  bool in_title_;
  bool in_description_;
  bool in_keywords_;
  std::string scratch_;
};

// An album the main frame has open: its folder and the album as it is now (unsaved
// changes included).
struct OpenAlbum {
  std::string path;
  const album::Album* album = nullptr;
};

enum class ScopeKind { kLibrary, kOpenAlbums, kOneAlbum };

// One item of the "Look in:" list: its text and what it stands for. Two items are the same
// choice when kind and album folder agree.
struct LookInItem {
  std::string text;
  ScopeKind kind = ScopeKind::kLibrary;
  std::string album_path;  // kOneAlbum only

  bool SameChoice(const LookInItem& other) const {
    return kind == other.kind && album_path == other.album_path;
  }
};

struct LookInList {
  std::vector<LookInItem> items;
  size_t selected = 0;
};

// Refills the "Look in:" list: "All My Quorvane Albums"; when an album is open, "All
// Currently Open Albums" and one item per open album that has a title, in the frame's order.
// Selects the item that is the same choice as `previous`, else the first.
LookInList FillLookInList(const std::vector<OpenAlbum>& open_albums, const LookInItem* previous);

struct SearchScope {
  ScopeKind kind = ScopeKind::kLibrary;
  std::filesystem::path library;  // kLibrary: the album library folder
  std::vector<OpenAlbum> albums;  // kOpenAlbums: the open albums; kOneAlbum: just that one
  // kLibrary: a file in which searches remember the album folders whose photos were all
  // there, so that the next search need not list them again; none when empty.
  std::filesystem::path presence_cache;
};

// The scope an item of the "Look in:" list names.
SearchScope ScopeOf(const LookInItem& item, const std::filesystem::path& library,
                    const std::vector<OpenAlbum>& open_albums);

struct SearchSummary {
  int32_t albums_searched = 0;
  int32_t albums_skipped = 0;  // library albums whose index could not be read
  int64_t results = 0;
  bool stopped = false;
};

using ResultSink = std::function<void(SearchResult&& result)>;

// Searches the scope and hands each result to `sink`, on the calling thread, in album and
// photo order. Library albums are read from their index files (photos whose file is missing
// are left out, so indexes match the album as it opens), on up to two threads of the search's
// own that end before it returns; an album that cannot be read is skipped. `progress` gets
// "Searching..." and the albums done of the albums to search; its cancel is polled before each
// album, photo and result, and once seen no further result comes. Open albums are read in
// place: the caller keeps them unchanged until it returns.
SearchSummary RunSearch(const SearchRequest& request, const SearchScope& scope,
                        platform::ProgressSink& progress, const ResultSink& sink);

// One search at a time on a worker thread of its own, with the pane's Search/Stop logic.
// The sink and the completion call run on the worker thread. Not thread-safe itself: one
// controlling thread (the window's) calls Start, Stop and the destructor.
class SearchWorker {
 public:
  SearchWorker() = default;
  ~SearchWorker();
  SearchWorker(const SearchWorker&) = delete;
  SearchWorker& operator=(const SearchWorker&) = delete;

  // Stops a running search first, then starts this one; an empty text starts nothing and
  // returns false. `watcher` (optional; it must outlive the search) sees the search's progress
  // from the worker thread, and a cancel through it stops the search as Stop does.
  bool Start(SearchRequest request, SearchScope scope, ResultSink sink,
             std::function<void(const SearchSummary&)> done = {},
             platform::ProgressSink* watcher = nullptr);
  // Sets the stop flag and waits for the worker's end; does nothing when none runs.
  void Stop();
  // True from Start until the worker was waited for by Stop or the next Start.
  bool started() const { return thread_ != nullptr; }

 private:
  // Forwards to the watcher and adds the worker's own stop.
  class Progress : public platform::ProgressSink {
   public:
    void SetText(std::string_view text) override;
    void SetPosition(int64_t position, int64_t maximum) override;
    bool Cancelled() const override;

    platform::ProgressSink* watcher = nullptr;
    platform::CancelFlag stop;
  };

  std::unique_ptr<std::thread> thread_;
  Progress progress_;
};

}  // namespace quorvane::search
