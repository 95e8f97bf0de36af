// Reads arbitrary bytes as an album index twice, with the search's own reader and with the
// album index reader: both must agree on success, title and every photo field. When the input
// holds a NUL byte, what follows the last one is a search text instead: an album in which a
// photo matches it must never be ruled out by its bytes, nor that photo by its element's.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "album/album.h"
#include "album/album_index.h"
#include "search/photo_search.h"
#include "search/search_index_reader.h"

using namespace quorvane;

namespace {

// Holds the index in memory; every plain name counts as an existing photo file except
// names starting with "missing", so both paths of the photo filter are reached.
class MemoryStore : public album::AlbumStore {
 public:
  explicit MemoryStore(std::string index) : index_(std::move(index)) {}
  bool ReadFile(std::string_view name, std::string* bytes) override {
    if (name != album::kIndexFileName) {
      error_ = "no such file";
      return false;
    }
    *bytes = index_;
    return true;
  }
  bool WriteFile(std::string_view, std::string_view) override { return false; }
  bool FileExists(std::string_view name) override {
    return album::IsPlainFileName(name) && name.substr(0, 7) != "missing";
  }
  const std::string& LastError() const override { return error_; }

 private:
  std::string index_;
  std::string error_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  std::string text;
  if (const size_t nul = bytes.rfind('\0'); nul != std::string::npos) {
    text = bytes.substr(nul + 1);
    bytes.resize(nul);
  }
  album::Album album(std::make_unique<MemoryStore>(bytes));
  const bool opened = album::AlbumIndex::LoadIndex(album);
  search::SearchIndexReader reader;
  if (reader.Read(std::make_unique<MemoryStore>(bytes)) != opened) std::abort();
  if (!opened) return 0;
  if (reader.title() != album.title() || reader.photo_count() != album.photos().size()) {
    std::abort();
  }
  search::PhotoMatcher matcher(search::SearchRequest{text, true, true, true});
  const bool may_match = matcher.MayMatchIn(bytes);
  for (size_t i = 0; i < reader.photo_count(); ++i) {
    const album::AlbumPhoto& want = album.photos()[i];
    const album::AlbumPhoto got = reader.Photo(i);
    std::string_view title, description, keywords;
    reader.Texts(i, &title, &description, &keywords);
    if (title != want.title || description != want.description || keywords != want.keywords ||
        got.title != want.title || got.description != want.description ||
        got.keywords != want.keywords || got.image_file != want.image_file ||
        got.format != want.format || got.width != want.width || got.height != want.height ||
        !(got.date == want.date || (got.date != got.date && want.date != want.date))) {
      std::abort();
    }
    // Neither the album nor the photo's own bytes may rule out a photo that matches.
    size_t begin, end;
    if (matcher.Matches(title, description, keywords) &&
        (!may_match || (reader.Span(i, &begin, &end) && !matcher.MayMatchAt(begin, end)))) {
      std::abort();
    }
  }
  return 0;
}
