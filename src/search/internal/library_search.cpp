#include "search/internal/library_search.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "album/album_library.h"
#include "search/internal/photo_presence_cache.h"
#include "search/search_index_reader.h"

namespace quorvane::search::internal {
namespace {

// How many albums the workers may read ahead of the sink: enough to keep both cores busy
// while the sink catches up, few enough that results never pile up.
constexpr size_t kWindow = 16;

struct AlbumOutcome {
  enum State { kPending, kSearched, kSkipped } state = kPending;
  std::vector<SearchResult> results;
};

// Reads and matches one album. A stop leaves the results cut short; the caller, which tests
// the flag itself before each result, hands none of them on.
AlbumOutcome SearchAlbum(const std::string& path, PhotoMatcher& matcher, SearchIndexReader& reader,
                         const platform::ProgressSink& progress) {
  AlbumOutcome outcome;
  outcome.state = AlbumOutcome::kSkipped;
  if (!reader.Load(path)) return outcome;
  // Most albums of a library hold no match at all; they are settled from their bytes.
  if (!matcher.MayMatchIn(reader.bytes()) && reader.HasIndexRoot()) {
    outcome.state = AlbumOutcome::kSearched;
    return outcome;
  }
  if (!reader.Parse()) return outcome;
  outcome.state = AlbumOutcome::kSearched;
  outcome.results.reserve(std::min<size_t>(reader.photo_count(), 128));
  std::string_view title, description, keywords;
  for (size_t i = 0; i < reader.photo_count(); ++i) {
    if (progress.Cancelled()) break;
    size_t begin, end;
    if (reader.Span(i, &begin, &end) && !matcher.MayMatchAt(begin, end)) continue;
    reader.Texts(i, &title, &description, &keywords);
    if (!matcher.Matches(title, description, keywords)) continue;
    SearchResult& result = outcome.results.emplace_back();
    result.album_path = path;
    result.album_title = reader.title();
    result.index = static_cast<int32_t>(i);
    result.photo = reader.Photo(i);
  }
  return outcome;
}

// The albums' outcomes between the workers and the sink. Album i goes to slot i % kWindow,
// which is free again once album i - kWindow was handed on.
class Pipeline {
 public:
  Pipeline(const SearchRequest& request, const std::vector<std::string>& paths,
           PhotoPresenceCache* presence, const platform::ProgressSink& progress)
      : request_(request), paths_(paths), presence_(presence), progress_(progress) {}

  void StartWorkers(unsigned count) {
    for (unsigned w = 0; w < count; ++w) workers_.emplace_back([this] { Work(); });
  }

  // Waits for album i; false when the workers ended before reaching it (a stop).
  bool Take(size_t i, AlbumOutcome* outcome) {
    std::unique_lock lock(mutex_);
    AlbumOutcome& slot = slots_[i % kWindow];
    ready_.wait(lock, [&] {
      return slot.state != AlbumOutcome::kPending || finished_workers_ == workers_.size();
    });
    if (slot.state == AlbumOutcome::kPending) return false;
    *outcome = std::move(slot);
    slot = AlbumOutcome{};
    return true;
  }

  void Handed(size_t i) {
    {
      std::lock_guard lock(mutex_);
      handed_ = i + 1;
    }
    room_.notify_all();
  }

  // Ends the workers (they finish the album in hand) and waits for them.
  ~Pipeline() {
    {
      std::lock_guard lock(mutex_);
      quit_ = true;
    }
    room_.notify_all();
    for (std::thread& worker : workers_) worker.join();
  }

 private:
  void Work() {
    PhotoMatcher matcher(request_);
    SearchIndexReader reader;
    reader.UsePresenceCache(presence_);
    while (true) {
      size_t i;
      {
        std::unique_lock lock(mutex_);
        room_.wait(lock,
                   [&] { return quit_ || next_ >= paths_.size() || next_ < handed_ + kWindow; });
        if (quit_ || next_ >= paths_.size() || progress_.Cancelled()) break;
        i = next_++;
      }
      AlbumOutcome outcome = SearchAlbum(paths_[i], matcher, reader, progress_);
      {
        std::lock_guard lock(mutex_);
        slots_[i % kWindow] = std::move(outcome);
      }
      ready_.notify_all();
    }
    {
      std::lock_guard lock(mutex_);
      ++finished_workers_;
    }
    ready_.notify_all();
  }

  const SearchRequest& request_;
  const std::vector<std::string>& paths_;
  PhotoPresenceCache* const presence_;
  const platform::ProgressSink& progress_;
  std::vector<std::thread> workers_;

  std::mutex mutex_;
  std::condition_variable ready_;  // an album's outcome came, or a worker ended
  std::condition_variable room_;   // the sink took an album, or the search ends
  AlbumOutcome slots_[kWindow];
  size_t next_ = 0;    // the next album a worker takes
  size_t handed_ = 0;  // albums handed to the sink
  size_t finished_workers_ = 0;
  bool quit_ = false;
};

}  // namespace

SearchSummary SearchLibrary(const SearchRequest& request, const SearchScope& scope,
                            platform::ProgressSink& progress, const ResultSink& sink) {
  SearchSummary summary;
  std::vector<std::string> paths;
  if (album::FindAlbums(scope.library, &paths) < 0) return summary;
  PhotoPresenceCache presence(scope.presence_cache);
  if (!scope.presence_cache.empty()) presence.Load();
  {
    Pipeline pipeline(request, paths, scope.presence_cache.empty() ? nullptr : &presence, progress);
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    pipeline.StartWorkers(static_cast<unsigned>(std::min<size_t>({cores, 2, paths.size()})));
    for (size_t i = 0; i < paths.size() && !summary.stopped; ++i) {
      AlbumOutcome outcome;
      if (progress.Cancelled() || !pipeline.Take(i, &outcome)) {
        summary.stopped = true;
        break;
      }
      ++(outcome.state == AlbumOutcome::kSearched ? summary.albums_searched
                                                  : summary.albums_skipped);
      for (SearchResult& result : outcome.results) {
        if (progress.Cancelled()) {
          summary.stopped = true;
          break;
        }
        ++summary.results;
        sink(std::move(result));
      }
      pipeline.Handed(i);
      progress.SetPosition(static_cast<int64_t>(i + 1), static_cast<int64_t>(paths.size()));
    }
  }
  presence.ForgetOthersIn(scope.library, paths);
  presence.Save();
  return summary;
}

}  // namespace quorvane::search::internal
