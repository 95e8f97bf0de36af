#include "search/photo_search.h"

#include <algorithm>

#include "album/album.h"
#include "search/case_folding.h"
#include "search/internal/find_bytes.h"
#include "search/internal/library_search.h"

namespace quorvane::search {
namespace {

bool IsKeywordSeparator(char c) { return c == ',' || c == ';' || c == ' '; }
constexpr std::string_view kTrimmed = " \t\n\v\f\r";
// What decoding an entity yields, and the ";" an unknown one gains.
constexpr std::string_view kEntityCharacters = "&;<>\"' ";

std::string_view Trimmed(std::string_view piece) {
  const size_t first = piece.find_first_not_of(kTrimmed);
  if (first == std::string_view::npos) return {};
  return piece.substr(first, piece.find_last_not_of(kTrimmed) - first + 1);
}

// Searches one album's photos; false when a cancel ended it.
bool SearchPhotos(PhotoMatcher& matcher, const std::string& album_path,
                  const std::string& album_title, const std::vector<album::AlbumPhoto>& photos,
                  const platform::ProgressSink& progress, const ResultSink& sink,
                  SearchSummary* summary) {
  int32_t index = 0;
  for (const album::AlbumPhoto& photo : photos) {
    if (progress.Cancelled()) return false;
    if (matcher.Matches(photo.title, photo.description, photo.keywords)) {
      SearchResult result;
      result.album_path = album_path;
      result.album_title = album_title;
      result.index = index;
      result.photo = photo;
      ++summary->results;
      sink(std::move(result));
    }
    ++index;
  }
  return true;
}

}  // namespace

PhotoMatcher::PhotoMatcher(const SearchRequest& request)
    : folded_text_(Folded(request.text)),
      in_title_(request.in_title),
      in_description_(request.in_description),
      in_keywords_(request.in_keywords) {
  std::string_view text = request.text, longest;
  while (!text.empty()) {
    const size_t end = std::min(text.find_first_of(kEntityCharacters), text.size());
    if (end > longest.size()) longest = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  // A run with a broken character could match where a tag cut short split one; it rules
  // nothing out.
  if (IsValidUtf8(longest)) folded_key_ = Folded(longest);
}

bool PhotoMatcher::MayMatchIn(std::string_view index_bytes) {
  offsets_known_ = false;
  key_offsets_.clear();
  next_offset_ = 0;
  if (folded_key_.empty() || index_bytes.find('\r') != std::string_view::npos) return true;
  scratch_.clear();
  const bool same_length = AppendFolded(index_bytes, &scratch_);
  for (size_t at = 0; (at = internal::FindBytes(scratch_, folded_key_, at)) != std::string::npos;
       ++at) {
    key_offsets_.push_back(at);
  }
  // Where folding changed no character's length, offsets in the folded bytes are offsets in
  // the file, and a photo can only match where the run occurs inside its own element.
  offsets_known_ = same_length;
  return !key_offsets_.empty();
}

bool PhotoMatcher::MayMatchAt(size_t begin, size_t end) {
  if (!offsets_known_) return true;
  while (next_offset_ < key_offsets_.size() && key_offsets_[next_offset_] < begin) ++next_offset_;
  return next_offset_ < key_offsets_.size() &&
         key_offsets_[next_offset_] + folded_key_.size() <= end;
}

bool PhotoMatcher::Matches(std::string_view title, std::string_view description,
                           std::string_view keywords) {
  if (folded_text_.empty()) return false;
  return (in_title_ && Holds(title)) || (in_description_ && Holds(description)) ||
         (in_keywords_ && HasKeyword(keywords));
}

bool PhotoMatcher::Holds(std::string_view field) {
  if (field.empty()) return false;
  scratch_.clear();
  AppendFolded(field, &scratch_);
  return scratch_.find(folded_text_) != std::string::npos;
}

bool PhotoMatcher::HasKeyword(std::string_view keywords) {
  if (keywords.empty()) return false;
  // Folding maps no character onto a separator or white space, so the folded field splits
  // exactly where the original does.
  scratch_.clear();
  AppendFolded(keywords, &scratch_);
  const std::string_view folded = scratch_;
  size_t start = 0;
  while (start <= folded.size()) {
    size_t end = start;
    while (end < folded.size() && !IsKeywordSeparator(folded[end])) ++end;
    if (Trimmed(folded.substr(start, end - start)) == folded_text_) return true;
    start = end + 1;
  }
  return false;
}

LookInList FillLookInList(const std::vector<OpenAlbum>& open_albums, const LookInItem* previous) {
  LookInList list;
  list.items.push_back({std::string(kLookInLibrary), ScopeKind::kLibrary, {}});
  if (!open_albums.empty()) {
    list.items.push_back({std::string(kLookInOpenAlbums), ScopeKind::kOpenAlbums, {}});
    for (const OpenAlbum& open : open_albums) {
      if (open.album != nullptr && !open.album->title().empty()) {
        list.items.push_back({open.album->title(), ScopeKind::kOneAlbum, open.path});
      }
    }
  }
  if (previous != nullptr) {
    for (size_t i = 0; i < list.items.size(); ++i) {
      if (list.items[i].SameChoice(*previous)) {
        list.selected = i;
        break;
      }
    }
  }
  return list;
}

SearchScope ScopeOf(const LookInItem& item, const std::filesystem::path& library,
                    const std::vector<OpenAlbum>& open_albums) {
  SearchScope scope;
  scope.kind = item.kind;
  switch (item.kind) {
    case ScopeKind::kLibrary:
      scope.library = library;
      break;
    case ScopeKind::kOpenAlbums:
      scope.albums = open_albums;
      break;
    case ScopeKind::kOneAlbum:
      for (const OpenAlbum& open : open_albums) {
        if (open.path == item.album_path) {
          scope.albums.push_back(open);
          break;
        }
      }
      break;
  }
  return scope;
}

SearchSummary RunSearch(const SearchRequest& request, const SearchScope& scope,
                        platform::ProgressSink& progress, const ResultSink& sink) {
  if (request.text.empty()) return {};
  progress.SetText(kSearchingText);
  if (scope.kind == ScopeKind::kLibrary) {
    return internal::SearchLibrary(request, scope, progress, sink);
  }
  SearchSummary summary;
  PhotoMatcher matcher(request);
  const int64_t total = static_cast<int64_t>(scope.albums.size());
  for (int64_t i = 0; i < total; ++i) {
    const OpenAlbum& open = scope.albums[static_cast<size_t>(i)];
    if (progress.Cancelled()) {
      summary.stopped = true;
      break;
    }
    if (open.album == nullptr) continue;
    ++summary.albums_searched;
    if (!SearchPhotos(matcher, open.path, open.album->title(), open.album->photos(), progress, sink,
                      &summary)) {
      summary.stopped = true;
      break;
    }
    progress.SetPosition(i + 1, total);
  }
  return summary;
}

SearchWorker::~SearchWorker() { Stop(); }

void SearchWorker::Progress::SetText(std::string_view text) {
  if (watcher != nullptr) watcher->SetText(text);
}

void SearchWorker::Progress::SetPosition(int64_t position, int64_t maximum) {
  if (watcher != nullptr) watcher->SetPosition(position, maximum);
}

bool SearchWorker::Progress::Cancelled() const {
  return stop.Cancelled() || (watcher != nullptr && watcher->Cancelled());
}

bool SearchWorker::Start(SearchRequest request, SearchScope scope, ResultSink sink,
                         std::function<void(const SearchSummary&)> done,
                         platform::ProgressSink* watcher) {
  Stop();
  if (request.text.empty()) return false;
  progress_.stop.Reset();
  progress_.watcher = watcher;
  thread_ =
      std::make_unique<std::thread>([this, request = std::move(request), scope = std::move(scope),
                                     sink = std::move(sink), done = std::move(done)] {
        const SearchSummary summary = RunSearch(request, scope, progress_, sink);
        if (done) done(summary);
      });
  return true;
}

void SearchWorker::Stop() {
  if (thread_ == nullptr) return;
  progress_.stop.Cancel();
  thread_->join();
  thread_.reset();
}

}  // namespace quorvane::search
