#include "search/search_index_reader.h"

#include <algorithm>

#include "album/album.h"
#include "album/album_index.h"
#include "album/folder_store.h"
#include "album/index_scanner.h"
#include "search/internal/photo_presence_cache.h"
#include "search/internal/regular_files.h"
#include "xml/entities.h"

namespace quorvane::search {
namespace {

// Lends the reader's store to an album for one index load.
class BorrowedStore : public album::AlbumStore {
 public:
  explicit BorrowedStore(album::AlbumStore& store) : store_(store) {}
  bool ReadFile(std::string_view name, std::string* bytes) override {
    return store_.ReadFile(name, bytes);
  }
  bool WriteFile(std::string_view name, std::string_view bytes) override {
    return store_.WriteFile(name, bytes);
  }
  bool FileExists(std::string_view name) override { return store_.FileExists(name); }
  const std::string& LastError() const override { return store_.LastError(); }
  bool ListFiles(std::vector<std::string>* names) override { return store_.ListFiles(names); }
  bool ImportFile(const std::filesystem::path& source, std::string_view name) override {
    return store_.ImportFile(source, name);
  }
  std::filesystem::path LocalPath(std::string_view name) const override {
    return store_.LocalPath(name);
  }
  bool RemoveFile(std::string_view name) override { return store_.RemoveFile(name); }
  bool ExchangeFiles(std::string_view a, std::string_view b) override {
    return store_.ExchangeFiles(a, b);
  }

 private:
  album::AlbumStore& store_;
};

std::string_view DecodedView(std::string_view encoded, std::string* scratch) {
  if (encoded.find('&') == std::string_view::npos) return encoded;
  scratch->clear();
  xml::AppendDecodedEntities(encoded, scratch);
  return *scratch;
}

}  // namespace

SearchIndexReader::SearchIndexReader() = default;
SearchIndexReader::~SearchIndexReader() = default;

size_t SearchIndexReader::photo_count() const { return full_read_ ? loaded_.size() : raw_.size(); }

void SearchIndexReader::Reset() {
  title_.clear();
  raw_.clear();
  loaded_.clear();
  full_read_ = false;
}

bool SearchIndexReader::Read(const std::string& path) { return Load(path) && Parse(); }

bool SearchIndexReader::Read(std::unique_ptr<album::AlbumStore> store) {
  Reset();
  store_ = std::move(store);
  folder_.clear();
  stamped_ = false;
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return Parse();
}

bool SearchIndexReader::Load(const std::string& path) {
  Reset();
  store_ = std::make_unique<album::FolderStore>(path);
  folder_ = path;
  stamped_ = false;
  // The usual case, a regular "index.quorvane", in three system calls; the store reads
  // every other case, in the same order of names.
  if (internal::ReadRegularFile(std::string(path).append("/").append(album::kIndexFileName),
                                &bytes_, presence_ != nullptr ? &stamp_.index : nullptr)) {
    stamped_ = presence_ != nullptr && stamp_.index.inode != 0;
    return true;
  }
  if (!album::AlbumIndex::ReadIndexFile(*store_, &bytes_)) {
    last_error_ = store_->LastError();
    return false;
  }
  return true;
}

bool SearchIndexReader::HasIndexRoot() const { return album::HasStrictIndexRoot(bytes_); }

bool SearchIndexReader::Parse() {
  Reset();
  bool scanned = false;
  if (!folder_.empty()) {
    // The folder's stamp is taken before any listing, so that whatever changes after the
    // listing changes the stamp. Albums settled from their bytes alone never need it.
    stamped_ = stamped_ && platform::StampOf(folder_, &stamp_.folder);
    if (stamped_ && presence_->AllPresent(folder_, stamp_)) {
      scanned = Scan([](std::string_view name) { return album::IsPlainFileName(name); });
    } else {
      bool all_found = false;
      scanned = ScanWithListing(&all_found);
      if (scanned && all_found && stamped_) presence_->Remember(folder_, stamp_);
    }
  } else {
    scanned = Scan([&](std::string_view name) { return store_->FileExists(name); });
  }
  if (scanned) return true;

  Reset();
  album::Album album(std::make_unique<BorrowedStore>(*store_));
  if (!album::AlbumIndex::LoadIndex(album)) {
    last_error_ = album.last_error();
    return false;
  }
  full_read_ = true;
  title_ = album.title();
  loaded_ = std::move(album.photos());
  return true;
}

bool SearchIndexReader::ScanWithListing(bool* all_found) {
  // One listing answers for every photo; the index reader asks the same question (is it a
  // regular file of the album) one way or the other.
  names_.clear();
  std::vector<size_t> lengths;
  bool saw_links = false;
  if (!internal::ListRegularFiles(folder_, &names_, &lengths, &saw_links)) return false;
  // Sorted views into one buffer: no allocation per name, unlike a hash set.
  listed_.clear();
  listed_.reserve(lengths.size());
  size_t offset = 0;
  for (size_t length : lengths) {
    listed_.push_back(std::string_view(names_).substr(offset, length));
    offset += length;
  }
  std::sort(listed_.begin(), listed_.end());
  *all_found = !saw_links;
  return Scan([&](std::string_view name) {
    const bool found =
        album::IsPlainFileName(name) && std::binary_search(listed_.begin(), listed_.end(), name);
    *all_found = *all_found && found;
    return found;
  });
}

bool SearchIndexReader::Scan(const std::function<bool(std::string_view)>& exists) {
  std::string_view title;
  if (!album::ScanIndex(bytes_, exists, &title, &raw_)) return false;
  title_ = xml::DecodeEntities(title);
  return true;
}

void SearchIndexReader::Texts(size_t i, std::string_view* title, std::string_view* description,
                              std::string_view* keywords) {
  if (full_read_) {
    const album::AlbumPhoto& photo = loaded_[i];
    *title = photo.title, *description = photo.description, *keywords = photo.keywords;
    return;
  }
  const album::ScannedPhoto& photo = raw_[i];
  *title = DecodedView(photo.title, &scratch_[0]);
  *description = DecodedView(photo.description, &scratch_[1]);
  *keywords = DecodedView(photo.keywords, &scratch_[2]);
}

bool SearchIndexReader::Span(size_t i, size_t* begin, size_t* end) const {
  if (full_read_) return false;
  *begin = raw_[i].begin;
  *end = raw_[i].end;
  return true;
}

album::AlbumPhoto SearchIndexReader::Photo(size_t i) const {
  return full_read_ ? loaded_[i] : album::DecodeScannedPhoto(raw_[i]);
}

}  // namespace quorvane::search
