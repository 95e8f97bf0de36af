// Loads arbitrary bytes as an album index through an in-memory store, then saves and loads
// the album again: a save either refuses (an index read only in part, values the file cannot
// hold) and writes nothing, or writes what the second load reads whole, giving the same album.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "album/album_index.h"

using namespace quorvane::album;

namespace {

// Holds the index in memory; every plain name counts as an existing photo file except
// names starting with "missing", so both paths of the photo filter are reached.
class MemoryStore : public AlbumStore {
 public:
  bool ReadFile(std::string_view name, std::string* bytes) override {
    auto it = files_.find(std::string(name));
    if (it == files_.end()) {
      error_ = "no such file";
      return false;
    }
    *bytes = it->second;
    return true;
  }
  bool WriteFile(std::string_view name, std::string_view bytes) override {
    files_[std::string(name)] = std::string(bytes);
    return true;
  }
  bool FileExists(std::string_view name) override {
    return IsPlainFileName(name) && name.substr(0, 7) != "missing";
  }
  const std::string& LastError() const override { return error_; }

 private:
  std::map<std::string, std::string> files_;
  std::string error_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto store = std::make_unique<MemoryStore>();
  MemoryStore* raw = store.get();
  (void)raw->WriteFile("index.quorvane",
                       std::string_view(reinterpret_cast<const char*>(data), size));
  Album album(std::move(store));
  if (!AlbumIndex::LoadIndex(album)) return 0;
  std::string original;
  (void)raw->ReadFile("index.quorvane", &original);

  // An index read only in part is never saved over, and neither is one whose values a save
  // could not write back as they are (then the last error says which).
  if (!AlbumIndex::SaveIndex(album)) {
    std::string now;
    (void)raw->ReadFile("index.quorvane", &now);
    if (now != original) std::abort();
    if (!album.read_only() &&
        album.last_error().rfind("Unable to save the album index: ", 0) != 0) {
      std::abort();
    }
    return 0;
  }
  if (album.read_only()) std::abort();

  // What the writer writes, the reader reads whole and gives back as it was.
  std::string saved;
  (void)raw->ReadFile("index.quorvane", &saved);
  Album again(std::make_unique<MemoryStore>());
  (void)again.store().WriteFile("index.quorvane", saved);
  if (!AlbumIndex::LoadIndex(again) || again.read_only()) std::abort();
  if (again.title() != album.title() || again.description() != album.description() ||
      again.title_image_file() != album.title_image_file() ||
      again.photos().size() != album.photos().size() ||
      again.user_variables().size() != album.user_variables().size()) {
    std::abort();
  }
  for (size_t i = 0; i < album.photos().size(); ++i) {
    const AlbumPhoto& a = album.photos()[i];
    const AlbumPhoto& b = again.photos()[i];
    if (a.title != b.title || a.keywords != b.keywords || a.description != b.description ||
        a.image_file != b.image_file || a.format != b.format || a.width != b.width ||
        a.height != b.height ||
        quorvane::platform::FormatOleDate(a.date) != quorvane::platform::FormatOleDate(b.date)) {
      std::abort();
    }
  }
  for (size_t i = 0; i < album.user_variables().size(); ++i) {
    if (album.user_variables()[i] != again.user_variables()[i]) std::abort();
  }
  return 0;
}
